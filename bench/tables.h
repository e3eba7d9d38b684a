/* The tables of the report, one function a file. Each registers its rows. */
#ifndef ZOEAVL_BENCH_TABLES_H
#define ZOEAVL_BENCH_TABLES_H

void offer_c_functions();
void offer_face();
void offer_many();
void offer_threads();
void offer_growth();

#endif
