// Runs a command and tells on standard error how long it took and how much memory it had resident
// at most. Exits as the command does.

#include <chrono>
#include <cstdio>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: bench_measure COMMAND [ARGUMENT...]\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    execvp(argv[1], argv + 1);
    std::perror(argv[1]);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child) {
    std::perror("bench_measure");
    return 1;
  }
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  std::fprintf(stderr, "%.2f s, %.2f s cpu, %.1f MB peak resident\n", wall.count(),
               Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
               static_cast<double>(usage.ru_maxrss) * 1024.0 / 1e6);  // Linux counts in KiB.
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
