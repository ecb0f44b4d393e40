#include "STimeProbe.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

int probeSTime(const std::vector<std::string>& command, Samples* samples) {
  if (command.empty()) return -1;
  int pipeEnds[2];
  if (pipe(pipeEnds) != 0) return -1;
  pid_t child = fork();
  if (child < 0) {
    close(pipeEnds[0]);
    close(pipeEnds[1]);
    return -1;
  }
  if (child == 0) {
    dup2(pipeEnds[1], STDOUT_FILENO);
    close(pipeEnds[0]);
    close(pipeEnds[1]);
    std::vector<char*> args;
    for (const std::string& arg : command) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  close(pipeEnds[1]);

  bool seenFirst = false;
  // The marks stand on a line of their own, which holds nothing else;
  // the text lines before and after it (which hold 'r's too) do not count.
  bool markLine = true;
  Samples::Clock::time_point previous;
  char buffer[256];
  for (;;) {
    ssize_t n = read(pipeEnds[0], buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    Samples::Clock::time_point now = Samples::Clock::now();
    for (ssize_t i = 0; i < n; ++i) {
      char c = buffer[i];
      if (c == '\n') {
        markLine = true;
        continue;
      }
      // '*' marks a new TLS 1.2 session, 'r' a resumed one.
      markLine = markLine && (c == '*' || c == 'r');
      if (!markLine) continue;
      if (c == 'r') samples->resumed();
      if (seenFirst) samples->addMicros(Samples::micros(previous, now));
      previous = now;
      seenFirst = true;
    }
  }
  close(pipeEnds[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
