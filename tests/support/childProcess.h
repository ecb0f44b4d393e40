#ifndef ZELVAN_TESTS_CHILDPROCESS_H_
#define ZELVAN_TESTS_CHILDPROCESS_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

// Starts args[0] with args as a child of the test process, its standard
// output (and standard error, with withStderr) appended to the file at
// outputPath, which never fills up as an unread pipe would. Returns the
// child's pid, or -1 when it did not start.
pid_t spawnToFile(std::vector<std::string> args, const std::string& outputPath, bool withStderr);

// Calls done() every 10 ms until it returns true or timeoutMs pass; returns
// whether it did.
bool pollUntil(int timeoutMs, const std::function<bool()>& done);

// Waits up to timeoutMs until ready() holds, polling, and returns whether
// it did. A child that ends meanwhile is reaped and pid set to -1.
bool waitForChild(pid_t& pid, int timeoutMs, const std::function<bool()>& ready);

// Sends signal to the child pid and waits up to timeoutMs for it to end,
// killing it after that. Returns its exit code, or 128 + the signal that
// ended it.
int stopChild(pid_t pid, int signal, int timeoutMs);

#endif  // ZELVAN_TESTS_CHILDPROCESS_H_
