/* The calls of the system: a filter of the kernel has those of the table below trapped, whoever
 * makes them (the C library's own are not to be had by defining functions of their names), and the
 * handler of the trap makes the call or answers with the error. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include "tests/faults/fault.h"

enum { PATH_SIZE = 4096, CONTROL_SIZE = 96 };

/* What a call is about: a descriptor, a path, a folder's descriptor and a path in it. */
enum about { BY_DESCRIPTOR, BY_PATH, BY_FOLDER };

struct call {
  int number;
  enum about about;
  int argument; /* Of the descriptor or the path; of the folder, with the path behind it. */
  const char* name;
};

static const struct call calls[] = {
    {SYS_read, BY_DESCRIPTOR, 0, "read"},
    {SYS_pread64, BY_DESCRIPTOR, 0, "pread"},
    {SYS_readv, BY_DESCRIPTOR, 0, "readv"},
    {SYS_preadv, BY_DESCRIPTOR, 0, "preadv"},
    {SYS_write, BY_DESCRIPTOR, 0, "write"},
    {SYS_pwrite64, BY_DESCRIPTOR, 0, "pwrite"},
    {SYS_writev, BY_DESCRIPTOR, 0, "writev"},
    {SYS_pwritev, BY_DESCRIPTOR, 0, "pwritev"},
    {SYS_lseek, BY_DESCRIPTOR, 0, "lseek"},
    {SYS_close, BY_DESCRIPTOR, 0, "close"},
    {SYS_fsync, BY_DESCRIPTOR, 0, "fsync"},
    {SYS_fdatasync, BY_DESCRIPTOR, 0, "fdatasync"},
    {SYS_ftruncate, BY_DESCRIPTOR, 0, "ftruncate"},
    {SYS_fallocate, BY_DESCRIPTOR, 0, "fallocate"},
    {SYS_fchmod, BY_DESCRIPTOR, 0, "fchmod"},
    {SYS_flock, BY_DESCRIPTOR, 0, "flock"},
    {SYS_fcntl, BY_DESCRIPTOR, 0, "fcntl"},
    {SYS_getdents64, BY_DESCRIPTOR, 0, "getdents"},
    {SYS_fstat, BY_DESCRIPTOR, 0, "fstat"},
    {SYS_mmap, BY_DESCRIPTOR, 4, "mmap"},
    {SYS_open, BY_PATH, 0, "open"},
    {SYS_stat, BY_PATH, 0, "stat"},
    {SYS_lstat, BY_PATH, 0, "lstat"},
    {SYS_access, BY_PATH, 0, "access"},
    {SYS_readlink, BY_PATH, 0, "readlink"},
    {SYS_rename, BY_PATH, 0, "rename"},
    {SYS_unlink, BY_PATH, 0, "unlink"},
    {SYS_mkdir, BY_PATH, 0, "mkdir"},
    {SYS_rmdir, BY_PATH, 0, "rmdir"},
    {SYS_chmod, BY_PATH, 0, "chmod"},
    {SYS_openat, BY_FOLDER, 0, "openat"},
    {SYS_newfstatat, BY_FOLDER, 0, "fstatat"},
    {SYS_statx, BY_FOLDER, 0, "statx"},
    {SYS_faccessat2, BY_FOLDER, 0, "faccessat"},
    {SYS_renameat, BY_FOLDER, 0, "renameat"},
    {SYS_renameat2, BY_FOLDER, 0, "renameat"},
    {SYS_unlinkat, BY_FOLDER, 0, "unlinkat"},
    {SYS_mkdirat, BY_FOLDER, 0, "mkdirat"},
    {SYS_fchmodat, BY_FOLDER, 0, "fchmodat"},
};
enum { CALL_COUNT = sizeof calls / sizeof calls[0] };

struct fault_plan fault_plan;

/* The kernel's filter lets the system call at this address pass. */
extern const char fault_after_system_call[];
__asm__(
    ".text\n"
    ".globl fault_system_call\n"
    ".type fault_system_call, @function\n"
    "fault_system_call:\n"
    "  mov %rdi, %rax\n"
    "  mov %rsi, %rdi\n"
    "  mov %rdx, %rsi\n"
    "  mov %rcx, %rdx\n"
    "  mov %r8, %r10\n"
    "  mov %r9, %r8\n"
    "  mov 8(%rsp), %r9\n"
    "  syscall\n"
    ".globl fault_after_system_call\n"
    "fault_after_system_call:\n"
    "  ret\n"
    ".size fault_system_call, .-fault_system_call\n");

static void write_down(long number, const char* name, const char* about) {
  char line[PATH_SIZE + CONTROL_SIZE];
  const int size = snprintf(line, sizeof line, "%ld %s %s\n", number, name, about);
  const long log = fault_system_call(SYS_openat, AT_FDCWD, (long)fault_plan.log,
                                     O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600, 0, 0);
  if (log < 0) return;
  fault_system_call(SYS_write, log, (long)line, size, 0, 0, 0);
  fault_system_call(SYS_close, log, 0, 0, 0, 0, 0);
}

int fault_is_next(const char* name, const char* about) {
  static long count;
  const long number = __atomic_add_fetch(&count, 1, __ATOMIC_RELAXED);
  if (fault_plan.at == 0 || number == fault_plan.at) write_down(number, name, about);
  return number == fault_plan.at;
}

static int is_watched(const char* path) {
  const size_t length = strlen(fault_plan.folder);
  return strncmp(path, fault_plan.folder, length) == 0 &&
         (path[length] == '/' || path[length] == '\0');
}

static void path_of_descriptor(long descriptor, char* path) {
  char link[CONTROL_SIZE];
  snprintf(link, sizeof link, "/proc/self/fd/%d", (int)descriptor);
  const long size = fault_system_call(SYS_readlink, (long)link, (long)path, PATH_SIZE - 1, 0, 0, 0);
  path[size < 0 ? 0 : size] = '\0';
}

/* What a call is about; empty where that cannot be told. */
static void find_path(const struct call* call, const long* arguments, char* path) {
  const long first = arguments[call->argument];
  path[0] = '\0';
  if (call->about == BY_DESCRIPTOR) {
    path_of_descriptor(first, path);
    return;
  }
  const char* name = (const char*)(call->about == BY_PATH ? first : arguments[call->argument + 1]);
  if (name == NULL) return;
  if (name[0] == '/') {
    snprintf(path, PATH_SIZE, "%s", name);
    return;
  }
  /* Relative paths of the working folder are not watched. */
  if (call->about == BY_PATH || (int)first == AT_FDCWD) return;
  path_of_descriptor(first, path);
  const size_t length = strlen(path);
  if (name[0] != '\0') snprintf(path + length, PATH_SIZE - length, "/%s", name);
}

static long make_call(long number, const long* arguments) {
  return fault_system_call(number, arguments[0], arguments[1], arguments[2], arguments[3],
                           arguments[4], arguments[5]);
}

static int is_transfer(long number) {
  return number == SYS_read || number == SYS_pread64 || number == SYS_write ||
         number == SYS_pwrite64;
}

static long answer(const struct call* call, long* arguments) {
  char path[PATH_SIZE];
  find_path(call, arguments, path);
  if (!is_watched(path)) return make_call(call->number, arguments);
  if (fault_plan.how == FAULT_SHORT) {
    const int can_be_short = is_transfer(call->number) && arguments[2] > 1;
    if (can_be_short && fault_is_next(call->name, path)) arguments[2] /= 2;
    return make_call(call->number, arguments);
  }
  if (!fault_is_next(call->name, path)) return make_call(call->number, arguments);
  /* A descriptor is closed whatever close answers. */
  if (call->number == SYS_close) make_call(call->number, arguments);
  return -fault_plan.error;
}

static void on_trap(int signal, siginfo_t* info, void* context) {
  (void)signal;
  greg_t* const registers = ((ucontext_t*)context)->uc_mcontext.gregs;
  long arguments[] = {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                      registers[REG_R10], registers[REG_R8],  registers[REG_R9]};
  const int before = errno;
  for (size_t i = 0; i < CALL_COUNT; ++i) {
    if (calls[i].number != info->si_syscall) continue;
    registers[REG_RAX] = answer(&calls[i], arguments);
    break;
  }
  errno = before;
}

static void give_up(const char* reason) {
  fprintf(stderr, "tests/faults: %s: %s\n", reason, strerror(errno));
  _exit(125);
}

static void trap_calls(void) {
  const struct sigaction action = {.sa_sigaction = on_trap, .sa_flags = SA_SIGINFO | SA_NODEFER};
  if (sigaction(SIGSYS, &action, NULL) != 0) give_up("no handler");

  const uintptr_t own = (uintptr_t)fault_after_system_call;
  struct sock_filter filter[CALL_COUNT * 2 + 16];
  unsigned short size = 0;
#define STATEMENT(code, value) \
  filter[size++] = (struct sock_filter)BPF_STMT(code, (uint32_t)(value))
#define SKIP_UNLESS(value, count) \
  filter[size++] =                \
      (struct sock_filter)BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, (uint32_t)(value), 0, count)
  STATEMENT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, instruction_pointer));
  SKIP_UNLESS(own, 3);
  STATEMENT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, instruction_pointer) + 4);
  SKIP_UNLESS((uint64_t)own >> 32, 1);
  STATEMENT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  STATEMENT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr));
  for (size_t i = 0; i < CALL_COUNT; ++i) {
    SKIP_UNLESS(calls[i].number, 1);
    STATEMENT(BPF_RET | BPF_K, SECCOMP_RET_TRAP);
  }
  STATEMENT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
#undef SKIP_UNLESS
#undef STATEMENT
  const struct sock_fprog program = {size, filter};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) give_up("no restriction");
  if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) give_up("no filter");
}

static const char* setting(const char* name) {
  const char* const value = getenv(name);
  if (value != NULL) return value;
  fprintf(stderr, "tests/faults: %s is not set\n", name);
  _exit(125);
}

__attribute__((constructor)) static void start(void) {
  fault_plan.folder = getenv("QVREG_FAULT_FOLDER");
  if (fault_plan.folder == NULL) return;
  fault_plan.log = setting("QVREG_FAULT_LOG");
  fault_plan.at = atol(setting("QVREG_FAULT_AT"));
  const struct {
    const char* name;
    enum fault_how how;
    int error;
  } ways[] = {{"EIO", FAULT_ERROR, EIO},     {"ENOSPC", FAULT_ERROR, ENOSPC},
              {"EINTR", FAULT_ERROR, EINTR}, {"short", FAULT_SHORT, 0},
              {"ENGINE", FAULT_ENGINE, 0},   {"SILENT", FAULT_SILENT, 0}};
  const char* const how = setting("QVREG_FAULT_HOW");
  for (size_t i = 0; i < sizeof ways / sizeof ways[0]; ++i) {
    if (strcmp(ways[i].name, how) != 0) continue;
    fault_plan.how = ways[i].how;
    fault_plan.error = ways[i].error;
  }
  if (fault_plan.how == FAULT_ERROR || fault_plan.how == FAULT_SHORT) trap_calls();
}
