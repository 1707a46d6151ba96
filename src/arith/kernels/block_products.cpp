// The block products behind the schoolbook multiplication and squaring.
//
// Registers: rdi T, rsi A (the block), rcx B, rdx the word of the row, rbp rows left, r8.. the window (k registers),
// rax and rbx the halves of a product. In row j the window's word x is register 8 + (j + x) mod k; the row adds
// T[j] and A * B[j], writes its lowest word to T[j], and the register that becomes free is the new top word. So
// after k rows the registers are back in place: the loop has k rows and no moves.
//
// With ADX the low halves run in the carry flag and the high halves in the overflow flag; 41 instructions a row of
// eight products. The products of a row cannot overflow the window: (B^k - 1)(B - 1) + (B^k - 1) + (B - 1) < B^(k+1).
//
// This file holds assembly and tables of its functions only, so that it may choose its section.
#include <type_traits>

#include "arith/kernels/word_loops.h"

asm(R"(
    .text
    .altmacro

.macro trel_first_adx size, row, acc, w0, w1
    mov 8*\row(%rcx), %rdx
    xor %eax, %eax
    mulx (%rsi), %rax, %rbx
    .if \acc
    adox 8*\row(%rdi), %r\w0
    .endif
    adcx %rax, %r\w0
    mov %r\w0, 8*\row(%rdi)
    adox %rbx, %r\w1
.endm
.macro trel_middle_adx ix, w0, win, next
    mulx 8*\ix(%rsi), %rax, %r\w0
    adcx %rax, %r\win
    adox %r\w0, %r\next
.endm
.macro trel_last_adx ix, w0, win
    mulx 8*\ix(%rsi), %rax, %r\w0
    adcx %rax, %r\win
    mov $0, %ebx
    adox %rbx, %r\w0
    adcx %rbx, %r\w0
.endm

# One chain: \high = high half + carries of (\win += low + previous high).
.macro trel_first_bmi2 size, row, acc, w0, w1
    mov 8*\row(%rcx), %rdx
    mulx (%rsi), %rax, %rbx
    .if \acc
    add 8*\row(%rdi), %rax
    adc $0, %rbx
    .endif
    add %rax, %r\w0
    adc $0, %rbx
    mov %r\w0, 8*\row(%rdi)
.endm
.macro trel_middle_bmi2 ix, w0, win, next
    mulx 8*\ix(%rsi), %rax, %r\w0
    add %rbx, %rax
    adc $0, %r\w0
    add %rax, %r\win
    adc $0, %r\w0
    mov %r\w0, %rbx
.endm
.macro trel_last_bmi2 ix, w0, win
    mulx 8*\ix(%rsi), %rax, %r\w0
    add %rbx, %rax
    adc $0, %r\w0
    add %rax, %r\win
    adc $0, %r\w0
.endm

.macro trel_exit row
    jz 1\row\()f
.endm
.macro trel_row chain, size, row, acc
    trel_first_\chain \size, \row, \acc, %(8+\row), %(8+((\row+1)%\size))
    .set trel_i, 1
    .rept \size-2
    trel_middle_\chain %trel_i, %(8+\row), %(8+((\row+trel_i)%\size)), %(8+((\row+trel_i+1)%\size))
    .set trel_i, trel_i+1
    .endr
    trel_last_\chain %(\size-1), %(8+\row), %(8+((\row+\size-1)%\size))
    dec %rbp
    trel_exit \row
.endm

.macro trel_store word, reg
    mov %r\reg, 8*\word(%rdi)
.endm
# After row j: the window goes to T[j+1..j+1+k).
.macro trel_tail size, row
1\row:
    .set trel_x, 0
    .rept \size
    trel_store %(\row+1+trel_x), %(8+((\row+1+trel_x)%\size))
    .set trel_x, trel_x+1
    .endr
    jmp 9f
.endm

.macro trel_rows chain, size, acc
    .p2align 4
1:
    .set trel_j, 0
    .rept \size
    trel_row \chain, \size, %trel_j, \acc
    .set trel_j, trel_j+1
    .endr
    lea 8*\size(%rcx), %rcx
    lea 8*\size(%rdi), %rdi
    jmp 1b
    .set trel_j, 0
    .rept \size
    trel_tail \size, %trel_j
    .set trel_j, trel_j+1
    .endr
9:
    trel_pop \size
    ret
.endm

.macro trel_push size
    push %rbx
    push %rbp
    .if \size > 4
    push %r12
    push %r13
    push %r14
    push %r15
    .endif
.endm
.macro trel_pop size
    .if \size > 4
    pop %r15
    pop %r14
    pop %r13
    pop %r12
    .endif
    pop %rbp
    pop %rbx
.endm
.macro trel_zero reg
    xor %r\reg\()d, %r\reg\()d
.endm
.macro trel_zero_window size
    .set trel_x, 8
    .rept \size
    trel_zero %trel_x
    .set trel_x, trel_x+1
    .endr
.endm

# rdi T, rsi A, rdx B, rcx m
.macro trel_mul_block chain, size, acc, kind
    .globl trel_mul_\kind\()_\chain\()_\size
    .p2align 5
trel_mul_\kind\()_\chain\()_\size\():
    trel_push \size
    mov %rcx, %rbp
    mov %rdx, %rcx
    trel_zero_window \size
    trel_rows \chain, \size, \acc
.endm

# Row j < k of a square: T[j] goes through the whole window, then the products A[j] A[i], i > j, enter at the
# window's word i. rcx is free here.
.macro trel_pass reg
    adc %rbx, %r\reg
.endm
.macro trel_square_low row, acc, w0
    xor %ebx, %ebx
    .if \acc
    add 8*\row(%rdi), %r\w0
    .endif
    mov %r\w0, 8*\row(%rdi)
    mov $0, %r\w0\()d
.endm
.macro trel_square_product_adx ix, win, next
    mulx 8*\ix(%rsi), %rax, %rbx
    adcx %rax, %r\win
    adox %rbx, %r\next
.endm
.macro trel_square_product_bmi2 ix, win, next
    mulx 8*\ix(%rsi), %rax, %rcx
    add %rbx, %rax
    adc $0, %rcx
    add %rax, %r\win
    adc $0, %rcx
    mov %rcx, %rbx
.endm
.macro trel_square_end_adx w0
    mov $0, %ebx
    adcx %rbx, %r\w0
.endm
.macro trel_square_end_bmi2 w0
    add %rbx, %r\w0
.endm
.macro trel_square_row chain, size, row, acc
    trel_square_low \row, \acc, %(8+\row)
    .if \acc
    .set trel_x, 1
    .rept \size
    trel_pass %(8+((\row+trel_x)%\size))
    .set trel_x, trel_x+1
    .endr
    .endif
    .if \row < \size-1
    mov 8*\row(%rsi), %rdx
    xor %eax, %eax
    .set trel_x, \row+1
    .rept \size-1-\row
    trel_square_product_\chain %trel_x, %(8+((\row+trel_x)%\size)), %(8+((\row+trel_x+1)%\size))
    .set trel_x, trel_x+1
    .endr
    trel_square_end_\chain %(8+\row)
    .endif
.endm

# rdi T, rsi A, rdx n
.macro trel_sqr_block chain, size, acc, kind
    .globl trel_sqr_\kind\()_\chain\()_\size
    .p2align 5
trel_sqr_\kind\()_\chain\()_\size\():
    trel_push \size
    mov %rdx, %rbp
    trel_zero_window \size
    .set trel_j, 0
    .rept \size
    trel_square_row \chain, \size, %trel_j, \acc
    .set trel_j, trel_j+1
    .endr
    sub $\size, %rbp
    trel_exit %(\size-1)
    lea 8*\size(%rsi), %rcx
    lea 8*\size(%rdi), %rdi
    trel_rows \chain, \size, \acc
.endm

    .irp size, 2, 3, 4, 5, 6, 7, 8
    trel_mul_block adx, \size, 0, fresh
    trel_mul_block bmi2, \size, 0, fresh
    trel_sqr_block adx, \size, 0, fresh
    trel_sqr_block bmi2, \size, 0, fresh
    .endr
    .irp size, 4, 5, 6, 7, 8
    trel_mul_block adx, \size, 1, add
    trel_mul_block bmi2, \size, 1, add
    trel_sqr_block adx, \size, 1, add
    trel_sqr_block bmi2, \size, 1, add
    .endr

# rdi T, rsi A, rdx n. Carry flag: the doubling; overflow flag: the squares.
.macro trel_finish_adx at
    mov \at(%rsi), %rdx
    mulx %rdx, %rax, %r9
    mov 2*\at(%rdi), %r10
    mov 2*\at+8(%rdi), %r11
    adcx %r10, %r10
    adcx %r11, %r11
    adox %rax, %r10
    adox %r9, %r11
    mov %r10, 2*\at(%rdi)
    mov %r11, 2*\at+8(%rdi)
.endm
    .globl trel_sqr_finish_adx
    .p2align 5
trel_sqr_finish_adx:
    mov %rdx, %rcx
    shr $2, %rcx
    inc %rcx
    and $3, %edx
    lea (%rsi,%rdx,8), %rsi
    shl $4, %rdx
    add %rdx, %rdi
    shr $4, %edx
    neg %rdx
    imul $(2f-1f)/4, %rdx, %rdx
    lea 2f(%rip), %rax
    add %rdx, %rax
    xor %edx, %edx
    jmp *%rax
    .p2align 4
1:
    trel_finish_adx -32
    trel_finish_adx -24
    trel_finish_adx -16
    trel_finish_adx -8
2:  lea 32(%rsi), %rsi
    lea 64(%rdi), %rdi
    lea -1(%rcx), %rcx
    jrcxz 3f
    jmp 1b
3:  ret

# T is doubled first; then one chain adds the squares.
.macro trel_finish_bmi2 at
    mov \at(%rsi), %rdx
    mulx %rdx, %rax, %r9
    adc %rax, 2*\at(%rdi)
    adc %r9, 2*\at+8(%rdi)
.endm
    .globl trel_sqr_finish_bmi2
    .p2align 5
trel_sqr_finish_bmi2:
    mov %rdx, %r10
    lea (%rdx,%rdx), %rcx
    xor %eax, %eax
    mov %rdi, %r11
1:  mov (%r11), %r9
    adc %r9, (%r11)
    lea 8(%r11), %r11
    dec %rcx
    jnz 1b
    xor %eax, %eax
2:  trel_finish_bmi2 0
    lea 8(%rsi), %rsi
    lea 16(%rdi), %rdi
    dec %r10
    jnz 2b
    ret
    .noaltmacro
)");

namespace trel {

#define TREL_FRESH(op, set, type)                                                                        \
    extern "C" std::remove_pointer_t<type> trel_##op##_fresh_##set##_2, trel_##op##_fresh_##set##_3,     \
        trel_##op##_fresh_##set##_4, trel_##op##_fresh_##set##_5, trel_##op##_fresh_##set##_6,           \
        trel_##op##_fresh_##set##_7, trel_##op##_fresh_##set##_8, trel_##op##_add_##set##_4,             \
        trel_##op##_add_##set##_5, trel_##op##_add_##set##_6, trel_##op##_add_##set##_7,                 \
        trel_##op##_add_##set##_8;
TREL_FRESH(mul, adx, MulBlock)
TREL_FRESH(mul, bmi2, MulBlock)
TREL_FRESH(sqr, adx, SqrBlock)
TREL_FRESH(sqr, bmi2, SqrBlock)
extern "C" std::remove_pointer_t<SqrFinish> trel_sqr_finish_adx, trel_sqr_finish_bmi2;

#define TREL_FRESH_TABLE(op, set)                                                                     \
    {nullptr, nullptr, trel_##op##_fresh_##set##_2, trel_##op##_fresh_##set##_3,                      \
     trel_##op##_fresh_##set##_4, trel_##op##_fresh_##set##_5, trel_##op##_fresh_##set##_6,           \
     trel_##op##_fresh_##set##_7, trel_##op##_fresh_##set##_8}
#define TREL_ADD_TABLE(op, set)                                                                       \
    {nullptr, nullptr, nullptr, nullptr, trel_##op##_add_##set##_4, trel_##op##_add_##set##_5,        \
     trel_##op##_add_##set##_6, trel_##op##_add_##set##_7, trel_##op##_add_##set##_8}

constinit const BlockProducts kBlockProductsAdx{TREL_FRESH_TABLE(mul, adx), TREL_ADD_TABLE(mul, adx),
                                                TREL_FRESH_TABLE(sqr, adx), TREL_ADD_TABLE(sqr, adx),
                                                trel_sqr_finish_adx};
constinit const BlockProducts kBlockProductsBmi2{TREL_FRESH_TABLE(mul, bmi2), TREL_ADD_TABLE(mul, bmi2),
                                                 TREL_FRESH_TABLE(sqr, bmi2), TREL_ADD_TABLE(sqr, bmi2),
                                                 trel_sqr_finish_bmi2};

}  // namespace trel
