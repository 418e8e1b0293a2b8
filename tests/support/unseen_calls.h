// Included before common/detached.cc under the thread sanitizer. Children share the caller's memory and so the
// sanitizer's records: it would take their descriptors and handlers for the caller's, and clone for fork. So they use
// names that the sanitizer does not intercept.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names are libc's
int __clone(int (*run)(void*), void* stack, int flags, void* argument, ...);
int __sigaction(int signal, const struct sigaction* wanted, struct sigaction* before);
// NOLINTEND(bugprone-reserved-identifier)
}

#define clone(...) __clone(__VA_ARGS__)
#define sigaction(signal, wanted, before) __sigaction(signal, wanted, before)
#define open(path, flags) static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags))
#define close(descriptor) syscall(SYS_close, descriptor)
#define dup2(from, to) syscall(SYS_dup3, from, to, 0)
#define _exit(status) _Exit(status)
