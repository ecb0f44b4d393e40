package zelvan_test

import (
	"bufio"
	"fmt"
	"io"
	"net"
	"os"
	"os/exec"
	"path/filepath"
	"strings"
	"syscall"
	"testing"
)

// Test certificates and the gateway simulator. Environment: ZV_GATEWAY_SIM
// and ZV_CERTGEN, the programs of the build.

const password = "zelvan-test"

type certificates struct{ dir string }

func (c certificates) path(name string) string { return filepath.Join(c.dir, name) }

// newCertificates writes a certificate set with zelvan-certgen into a
// temporary directory that goes, with the session segments of its files,
// when the test ends.
func newCertificates(t testing.TB) certificates {
	dir, err := os.MkdirTemp("", "zv-go-certs-")
	if err != nil {
		t.Fatal(err)
	}
	c := certificates{dir}
	t.Cleanup(func() { c.close() })
	if out, err := exec.Command(os.Getenv("ZV_CERTGEN"), dir).CombinedOutput(); err != nil {
		t.Fatalf("zelvan-certgen: %v\n%s", err, out)
	}
	return c
}

// close removes the System V segments in which clients kept SSL sessions
// for the certificate files (key ftok(path, 82), computed as glibc does),
// then the directory.
func (c certificates) close() {
	entries, _ := os.ReadDir(c.dir)
	for _, entry := range entries {
		var st syscall.Stat_t
		if syscall.Stat(c.path(entry.Name()), &st) != nil {
			continue
		}
		key := uintptr(st.Ino&0xffff | (st.Dev&0xff)<<16 | 82<<24)
		segment, _, errno := syscall.Syscall(syscall.SYS_SHMGET, key, 0, 0)
		if errno == 0 {
			syscall.Syscall(syscall.SYS_SHMCTL, segment, 0 /* IPC_RMID */, 0)
		}
	}
	os.RemoveAll(c.dir)
}

// startSimulator runs zelvan-gateway-sim on a free port of 127.0.0.1 until
// the test ends, and returns its port; a simulator that exits with an error
// fails the test.
func startSimulator(t testing.TB, c certificates, extra ...string) string {
	args := append([]string{"--cert", c.path("server.pem"), "--key", c.path("server-key.pem"),
		"--ca", c.path("ca.pem"), "--port", "0"}, extra...)
	cmd := exec.Command(os.Getenv("ZV_GATEWAY_SIM"), args...)
	// Copied rather than inherited, so that a simulator outliving a crashed
	// test holds no descriptor that the test runner waits on.
	cmd.Stderr = struct{ io.Writer }{os.Stderr}
	out, err := cmd.StdoutPipe()
	if err != nil {
		t.Fatal(err)
	}
	if err := cmd.Start(); err != nil {
		t.Fatal(err)
	}
	t.Cleanup(func() {
		cmd.Process.Signal(syscall.SIGTERM)
		if err := cmd.Wait(); err != nil {
			t.Errorf("the gateway simulator: %v", err)
		}
	})
	line, err := bufio.NewReader(out).ReadString('\n')
	words := strings.Fields(line)
	if err != nil || len(words) != 2 || words[0] != "LISTENING" {
		t.Fatalf("the gateway simulator printed %q: %v", line, err)
	}
	return words[1]
}

// closedPort is a port of 127.0.0.1 on which nothing listens.
func closedPort(t testing.TB) string {
	listener, err := net.Listen("tcp", "127.0.0.1:0")
	if err != nil {
		t.Fatal(err)
	}
	defer listener.Close()
	return fmt.Sprint(listener.Addr().(*net.TCPAddr).Port)
}
