"""Running programs from the Python tests."""

import subprocess


def run(command, **kwargs):
    """Runs a command and returns its output, standard error included; a
    failure raises AssertionError with that output."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **kwargs)
    if done.returncode != 0:
        raise AssertionError("%s exited with %d:\n%s" % (" ".join(command), done.returncode, done.stdout))
    return done.stdout
