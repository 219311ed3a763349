#ifndef QVREG_TESTS_FAULTS_FAULT_H
#define QVREG_TESTS_FAULTS_FAULT_H

/* A library for LD_PRELOAD that makes one call of a process fail, as the environment says:
 *   QVREG_FAULT_FOLDER  calls of the system on files in this folder are counted (an absolute path
 *                       without links, such as /tmp/x); without it nothing is
 *   QVREG_FAULT_AT      the number of the one that fails, from 1; 0: none, each is written down
 *   QVREG_FAULT_HOW     EIO, ENOSPC or EINTR: with this error; short: a read or write of half as
 *                       many bytes. ENGINE, SILENT: calls of DuckDB's C interface are counted in
 * place of the system's, and fail with a reason or without one QVREG_FAULT_LOG     the file,
 * outside of the folder, to which the call that failed is written: its number, its name and what it
 * was about Only for Linux on x86-64. */

enum fault_how { FAULT_NONE, FAULT_ERROR, FAULT_SHORT, FAULT_ENGINE, FAULT_SILENT };

struct fault_plan {
  const char* folder;
  const char* log;
  enum fault_how how;
  int error;
  long at;
};

/* Read once, while the library is loaded. */
extern struct fault_plan fault_plan;

/* Counts a call; whether it is the one to fail. Both may be called from signal handlers. */
int fault_is_next(const char* name, const char* about);

/* The system's own call, which is never counted; the negative error number where it fails. */
long fault_system_call(long number, long a, long b, long c, long d, long e, long f);

#endif
