/* The embedded host: the host contract of zohost.h with real parts, for whoever has no kernel.
 *
 *     zoextent(zoeavl_host());
 *     ZOEAVLExtension *factory = zoeavl(NULL, zoeavl_host_journal(stderr));
 *
 * Pools are thread-safe and end all their blocks at once; in a program with the address sanitizer
 * their blocks are the heap's, so that it sees them. Locks are zoe::scaling_mutex, whose readers
 * don't slow one another down; a writer keeps new readers off. A tree created with
 * ZOEAVL_PARM_LOCKVARIANT gets one that prefers readers instead, which alone may be taken for
 * reading twice by one thread. A Get that doesn't wait (`wa` 0) gives 0 if it has the lock. A Get
 * that waits for a lock which the calling thread holds for writing can't end: it says so on
 * standard error and aborts. All of it may be used from any thread.
 *
 * Valid as C11 and as C++17. */
#ifndef ZOEAVL_HOST_H
#define ZOEAVL_HOST_H

#include <stdio.h>

#include "zohost.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What the embedded host exports. */
#define ZOEAVL_HOST_API __attribute__((visibility("default")))

/* The host itself. There is one a process, and it never ends. If ZOEAVL_HOST_CHECKED is set in the
 * environment at the first call, and neither empty nor 0, it is the checked one. */
ZOEAVL_HOST_API ZOHost *zoeavl_host(void);

/* The host in checking mode, slower by far. What breaks a rule becomes a line in the journal that
 * the pool or lock was made with (on standard error if that was null), then the calls that led
 * there on standard error, then an abort. The journal must last as long as the pool or lock.
 *     Pools: a block freed twice, or that isn't the pool's; a freed block that was written to, as
 * soon as it is let go (a pool keeps the last 1 MiB of freed blocks back) or the pool ends; a tree
 * that is left when its factory ends. Fresh blocks are filled with 0xCD, freed ones with 0xDD.
 *     Locks: taken for writing by a thread that holds it, taken at all by the thread that writes,
 * taken for reading twice if it isn't of the kind that allows this, released by a thread that
 * doesn't hold it, destroyed while it is held. A call lets other threads go ahead.
 *     With ZOEAVL_HOST_FAIL=K in the environment the K-th request for a pool, a lock or a block of
 * it, or for a compilation by any codegen object, fails: a program that is run with K from 1 on
 * shows what it does then. */
ZOEAVL_HOST_API ZOHost *zoeavl_host_checked(void);

/* A journal that writes each report as a line to `stream`, and keeps it as text if `stream` is
 * null. What it makes of the words in its slots: StatusToJnl(level, status) reports the status
 *     StatusToBuf(level, status, char *buffer, size)               puts that line in the buffer
 *     MessageToJnl(level, const char *format, 0, list)             reports what printf would print
 *     MessageToBuf(level, const char *format, char *buffer, size, 0, list)
 *     GetLocale(journal)                                           the text "C"
 * The results are the length of the line. Where there is no memory for the journal the program
 * ends. */
ZOEAVL_HOST_API ZOJournal *zoeavl_host_journal(FILE *stream);

/* What a journal without a stream was given so far. Valid until the next report or its end. */
ZOEAVL_HOST_API const char *zoeavl_host_journal_text(ZOJournal *journal);

/* Ends a journal and its text; the stream stays open. */
ZOEAVL_HOST_API void zoeavl_host_journal_end(ZOJournal *journal);

/* An object that collects C text and has it compiled by the system's C compiler, $CC or cc, as GNU
 * C11 with optimisation. `journal`, which may be null, receives the compiler's own words when it
 * refuses. The first word given to `compile` (and to ZOEAVLCodegen) is 0 or a string of further
 * options for the compiler, separated by blanks; the second is ignored. What the compiler reads and
 * writes stands in a folder of its own in that of the system for temporary files ($TMPDIR, or
 * /tmp), which is gone when `compile` ends. Where there is no memory for the object itself the
 * program ends.
 *
 * The same text with the same compiler and options is compiled once: as long as a module of it
 * lives, further ones are had without the compiler and share its functions, and its variables if
 * the text has any. Headers that the text includes count as unchanged.
 *
 * End the object with its Destroy slot, after which its modules live on; end each module with its
 * own Destroy slot, after the last call of its functions. */
ZOEAVL_HOST_API ZOCodegen *zoeavl_host_codegen(ZOJournal *journal);

/* Adds C text, ended by its NUL, that stems from line `line` of `file` and on, as addText with line
 * flag 1 does; the compiler then names file and line of each mistake in it. Use it for an order
 * read from a file, or with __FILE__ and __LINE__ for one in a string. The status is that of
 * addText. */
ZOEAVL_HOST_API uint32_t zoeavl_host_codegen_source(ZOCodegen *codegen, const char *file,
                                                    uint32_t line, const char *source);

/* Why the last `compile` gave null: what the journal was told, journal or not. Empty if it gave a
 * module. Valid until the next `compile` or the end of the object. */
ZOEAVL_HOST_API const char *zoeavl_host_codegen_words(ZOCodegen *codegen);

#ifdef __cplusplus
}
#endif

#endif
