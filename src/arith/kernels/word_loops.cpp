// Addition, subtraction and multiplication by a word. Loops of eight words; a partial group is done first by
// a jump into the loop, whose steps have equal lengths (all displacements are nonzero bytes). lea and dec
// leave the carry flag alone.
//
// This file holds assembly only, so that it may choose its section.
#include "arith/kernels/word_loops.h"

asm(R"(
    .text

# rdi T, rsi A, rdx B, rcx n, r8b carry
.macro trel_carry_loop name, op
    .globl \name
    .p2align 5
\name:
    movzbl %r8b, %r8d
    mov %rcx, %r9
    shr $3, %r9
    and $7, %ecx
    jz 5f
    lea (%rdi,%rcx,8), %rdi
    lea (%rsi,%rcx,8), %rsi
    lea (%rdx,%rcx,8), %rdx
    inc %r9
    lea (%rcx,%rcx,2), %rcx
    shl $2, %rcx
    lea 2f(%rip), %rax
    sub %rcx, %rax
    neg %r8
    jmp *%rax
5:  test %r9, %r9
    jz 6f
    lea 64(%rdi), %rdi
    lea 64(%rsi), %rsi
    lea 64(%rdx), %rdx
    neg %r8
    .p2align 4
1:
    .irp d, -64, -56, -48, -40, -32, -24, -16, -8
    mov \d(%rsi), %rax
    \op \d(%rdx), %rax
    mov %rax, \d(%rdi)
    .endr
2:  lea 64(%rsi), %rsi
    lea 64(%rdx), %rdx
    lea 64(%rdi), %rdi
    dec %r9
    jnz 1b
    setc %al
    ret
6:  mov %r8d, %eax
    ret
.endm

    trel_carry_loop trel_add_n, adc
    trel_carry_loop trel_sub_n, sbb

# rdi T, rsi A, rdx n, rcx w, r8 c. The high halves alternate between rax and r11; at the entry both hold c.
.macro trel_mul_step d, high, previous
    mulx \d(%rsi), %r10, \high
    adc \previous, %r10
    mov %r10, \d(%rdi)
.endm

    .globl trel_mul_1
    .p2align 5
trel_mul_1:
    mov %rdx, %r9
    mov %rcx, %rdx
    mov %r8, %r11
    mov %r9, %rcx
    shr $3, %r9
    and $7, %ecx
    jz 5f
    lea (%rdi,%rcx,8), %rdi
    lea (%rsi,%rcx,8), %rsi
    inc %r9
    imul $13, %rcx, %rcx
    lea 2f(%rip), %r10
    sub %rcx, %r10
    mov %r8, %rax
    test %eax, %eax
    jmp *%r10
5:  test %r9, %r9
    jz 6f
    lea 64(%rdi), %rdi
    lea 64(%rsi), %rsi
    .p2align 4
1:
    trel_mul_step -64, %rax, %r11
    trel_mul_step -56, %r11, %rax
    trel_mul_step -48, %rax, %r11
    trel_mul_step -40, %r11, %rax
    trel_mul_step -32, %rax, %r11
    trel_mul_step -24, %r11, %rax
    trel_mul_step -16, %rax, %r11
    trel_mul_step -8, %r11, %rax
2:  lea 64(%rsi), %rsi
    lea 64(%rdi), %rdi
    dec %r9
    jnz 1b
    adc $0, %r11
6:  mov %r11, %rax
    ret

# rdi T, rsi A. The products of pairs by rows, low halves before high halves; then doubled, and the squares
# added in one chain through which mulx lets the carry pass.
.macro trel_add_square at, low, high
    mov \at(%rsi), %rdx
    mulx %rdx, %rax, %rdx
    adc %rax, \low
    adc %rdx, \high
    mov \low, 2*\at(%rdi)
    mov \high, 2*\at+8(%rdi)
.endm
.macro trel_first_square
    mov (%rsi), %rdx
    mulx %rdx, %rax, %rdx
    mov %rax, (%rdi)
    add %rdx, %r8
    mov %r8, 8(%rdi)
.endm

    .globl trel_sqr_4
    .p2align 5
trel_sqr_4:
    push %rbx
    push %rbp
    mov (%rsi), %rdx
    mulx 8(%rsi), %r8, %r9
    mulx 16(%rsi), %rax, %r10
    mulx 24(%rsi), %rcx, %r11
    add %rax, %r9
    adc %rcx, %r10
    adc $0, %r11
    mov 8(%rsi), %rdx
    mulx 16(%rsi), %rax, %rcx
    mulx 24(%rsi), %rdx, %rbx
    add %rax, %r10
    adc %rdx, %r11
    adc $0, %rbx
    add %rcx, %r11
    adc $0, %rbx
    mov 16(%rsi), %rdx
    mulx 24(%rsi), %rax, %rbp
    xor %ecx, %ecx
    add %rax, %rbx
    adc $0, %rbp
    .irp t, %r8, %r9, %r10, %r11, %rbx, %rbp, %rcx
    adc \t, \t
    .endr
    trel_first_square
    trel_add_square 8, %r9, %r10
    trel_add_square 16, %r11, %rbx
    trel_add_square 24, %rbp, %rcx
    pop %rbp
    pop %rbx
    ret

    .globl trel_sqr_5
    .p2align 5
trel_sqr_5:
    push %rbx
    push %rbp
    push %r12
    push %r13
    mov (%rsi), %rdx
    mulx 8(%rsi), %r8, %r9
    mulx 16(%rsi), %rax, %r10
    mulx 24(%rsi), %rcx, %r11
    mulx 32(%rsi), %rdx, %rbx
    add %rax, %r9
    adc %rcx, %r10
    adc %rdx, %r11
    adc $0, %rbx
    mov 8(%rsi), %rdx
    mulx 16(%rsi), %rax, %rcx
    mulx 24(%rsi), %r12, %r13
    mulx 32(%rsi), %rdx, %rbp
    add %rax, %r10
    adc %r12, %r11
    adc %rdx, %rbx
    adc $0, %rbp
    add %rcx, %r11
    adc %r13, %rbx
    adc $0, %rbp
    mov 16(%rsi), %rdx
    mulx 24(%rsi), %rax, %rcx
    mulx 32(%rsi), %rdx, %r12
    add %rax, %rbx
    adc %rdx, %rbp
    adc $0, %r12
    add %rcx, %rbp
    adc $0, %r12
    mov 24(%rsi), %rdx
    mulx 32(%rsi), %rax, %r13
    xor %ecx, %ecx
    add %rax, %r12
    adc $0, %r13
    .irp t, %r8, %r9, %r10, %r11, %rbx, %rbp, %r12, %r13, %rcx
    adc \t, \t
    .endr
    trel_first_square
    trel_add_square 8, %r9, %r10
    trel_add_square 16, %r11, %rbx
    trel_add_square 24, %rbp, %r12
    trel_add_square 32, %r13, %rcx
    pop %r13
    pop %r12
    pop %rbp
    pop %rbx
    ret
)");
