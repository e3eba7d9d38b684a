/* The engine's text as the exported data objects `code` and `codesize`. ENGINE_TEXT is its path. */
#ifdef __CET__
#    include <cet.h> /* says of this object that it may stand among those with marked jumps */
#endif

    .section .rodata
    .globl  code
    .type   code, %object
code:
    .incbin ENGINE_TEXT
    .byte   0
code_end:
    .size   code, code_end - code

    .globl  codesize
    .type   codesize, %object
    .balign 4
codesize:
    .long   code_end - code
    .size   codesize, 4

    .section .note.GNU-stack, "", %progbits
