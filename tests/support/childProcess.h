#ifndef ZELVAN_TESTS_CHILDPROCESS_H_
#define ZELVAN_TESTS_CHILDPROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

// Starts args[0] with args as a child of the test process, its standard
// output (and standard error, with withStderr) appended to the file at
// outputPath, which never fills up as an unread pipe would. Returns the
// child's pid, or -1 when it did not start.
pid_t spawnToFile(std::vector<std::string> args, const std::string& outputPath, bool withStderr);

// Sends signal to the child pid and waits up to timeoutMs for it to end,
// killing it after that. Returns its exit code, or 128 + the signal that
// ended it.
int stopChild(pid_t pid, int signal, int timeoutMs);

#endif  // ZELVAN_TESTS_CHILDPROCESS_H_
