// Addition, subtraction and multiplication by a word. Loops of eight words; a partial group is done first by a
// jump into the loop, whose steps have equal lengths (all displacements are nonzero bytes). lea and dec leave the
// carry flag alone.
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
)");
