#include "childProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

extern char** environ;

pid_t spawnToFile(std::vector<std::string> args, const std::string& outputPath, bool withStderr) {
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  if (withStderr) posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  pid_t pid = -1;
  int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return spawned == 0 ? pid : -1;
}

bool pollUntil(int timeoutMs, const std::function<bool()>& done) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

bool waitForChild(pid_t& pid, int timeoutMs, const std::function<bool()>& ready) {
  pollUntil(timeoutMs, [&] {
    if (ready()) return true;
    if (waitpid(pid, nullptr, WNOHANG) != 0) pid = -1;
    return pid == -1;
  });
  return pid != -1 && ready();
}

int stopChild(pid_t pid, int signal, int timeoutMs) {
  kill(pid, signal);
  int status = 0;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  pid_t ended;
  while ((ended = waitpid(pid, &status, WNOHANG)) == 0 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (ended == 0) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
