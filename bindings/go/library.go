package zelvan

/*
#cgo pkg-config: zelvanclient
#cgo LDFLAGS: -ldl
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdlib.h>
#include <zelvanclient.h>

// The file the dynamic loader took libzelvanclient from, or NULL.
static const char *zv_loaded_from(void) {
	Dl_info info;
	if (dladdr((void *)&newBundle, &info) == 0) return NULL;
	return info.dli_fname;
}
*/
import "C"

import (
	"fmt"
	"os"
	"path/filepath"
	"sync"
)

// LibraryVariable names the environment variable that may name the
// library file the program must use.
const LibraryVariable = "ZELVAN_LIBRARY"

// LibraryError reports that the program runs with a library other than the
// one ZELVAN_LIBRARY names.
type LibraryError struct {
	Named, Loaded string
}

func (e *LibraryError) Error() string {
	return fmt.Sprintf("%s names %s but the program loaded %s (point LD_LIBRARY_PATH or PKG_CONFIG_PATH at it)",
		LibraryVariable, e.Named, e.Loaded)
}

var (
	checkOnce  sync.Once
	checkError error
)

// checkLibrary verifies, once per process, that the library the dynamic
// loader took is the file ZELVAN_LIBRARY names, when it names one. A Go
// program is linked against the library found through pkg-config and loads
// it from the loader's search path (LD_LIBRARY_PATH, the run path, the
// system's directories), so the variable cannot switch libraries at run
// time; it is checked instead, so that a program never runs silently
// against another build than the one asked for.
func checkLibrary() error {
	checkOnce.Do(func() {
		named := os.Getenv(LibraryVariable)
		if named == "" {
			return
		}
		loaded := C.GoString(C.zv_loaded_from())
		if !sameFile(named, loaded) {
			checkError = &LibraryError{Named: named, Loaded: loaded}
		}
	})
	return checkError
}

func sameFile(a, b string) bool {
	ra, errA := filepath.EvalSymlinks(a)
	rb, errB := filepath.EvalSymlinks(b)
	if errA != nil || errB != nil {
		return false
	}
	sa, errA := os.Stat(ra)
	sb, errB := os.Stat(rb)
	return errA == nil && errB == nil && os.SameFile(sa, sb)
}
