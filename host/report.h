/* What the host itself has to say: a line for a journal, and the last line of a process. */
#ifndef ZOEAVL_HOST_REPORT_H
#define ZOEAVL_HOST_REPORT_H

#include <string>

#include "zohost.h"

/* Hands the line to the journal as a message; to nobody if the journal is null. */
void report(ZOJournal *journal, const std::string &line);

/* For a caller that broke a rule which the host can't go on without: reports the fault, on standard
 * error if there is no journal, prints the calls that led here on standard error, and aborts. */
[[noreturn]] void end_with_fault(ZOJournal *journal, const std::string &fault);

#endif
