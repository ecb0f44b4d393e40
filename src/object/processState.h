#ifndef ZELVAN_PROCESSSTATE_H_
#define ZELVAN_PROCESSSTATE_H_

// Marks a namespace-scope object that holds process-wide state the
// library's load and unload use: a static object of the client layer runs
// init_client() when the library is loaded and free_client() when it is
// unloaded or the process exits. Objects so marked are constructed before,
// and destroyed after, every static object of default priority, whatever
// order the linker or link-time optimisation gives the files. Without it
// that order is the link order's: an LTO build destroyed the certificate
// cache before free_client() emptied it, and every process crashed at exit.
#define ZV_PROCESS_STATE __attribute__((init_priority(1000)))

#endif  // ZELVAN_PROCESSSTATE_H_
