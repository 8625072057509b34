// SPDX-License-Identifier: GPL-3.0-or-later
// The system's calls for files, under a trap.
#include "realtime/TrappedCall.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

using orphia::test::TrappedCall;

namespace {

/// The third argument of a call that opens, which is there when a file may be made.
mode_t ModeOf(int flags, va_list& rest) { return (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0; }

} // namespace

#pragma GCC visibility push(default)
extern "C" {

ssize_t read(int file, void* to, std::size_t count) { return TrappedCall<"read", ssize_t>(file, to, count); }

ssize_t pread(int file, void* to, std::size_t count, off_t from) {
    return TrappedCall<"pread", ssize_t>(file, to, count, from);
}

ssize_t write(int file, const void* from, std::size_t count) {
    return TrappedCall<"write", ssize_t>(file, from, count);
}

off_t lseek(int file, off_t to, int whence) noexcept { return TrappedCall<"lseek", off_t>(file, to, whence); }

off64_t lseek64(int file, off64_t to, int whence) noexcept {
    return TrappedCall<"lseek64", off64_t>(file, to, whence);
}

int close(int file) { return TrappedCall<"close", int>(file); }

int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = ModeOf(flags, rest);
    va_end(rest);
    return TrappedCall<"open", int>(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = ModeOf(flags, rest);
    va_end(rest);
    return TrappedCall<"open64", int>(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = ModeOf(flags, rest);
    va_end(rest);
    return TrappedCall<"openat", int>(folder, path, flags, mode);
}

int stat(const char* path, struct stat* about) { return TrappedCall<"stat", int>(path, about); }

int fstat(int file, struct stat* about) { return TrappedCall<"fstat", int>(file, about); }

int access(const char* path, int mode) { return TrappedCall<"access", int>(path, mode); }

FILE* fopen(const char* path, const char* mode) { return TrappedCall<"fopen", FILE*>(path, mode); }

FILE* fopen64(const char* path, const char* mode) { return TrappedCall<"fopen64", FILE*>(path, mode); }

int fclose(FILE* file) { return TrappedCall<"fclose", int>(file); }

std::size_t fread(void* to, std::size_t size, std::size_t count, FILE* file) {
    return TrappedCall<"fread", std::size_t>(to, size, count, file);
}

std::size_t fwrite(const void* from, std::size_t size, std::size_t count, FILE* file) {
    return TrappedCall<"fwrite", std::size_t>(from, size, count, file);
}

int fputs(const char* text, FILE* file) { return TrappedCall<"fputs", int>(text, file); }

int fflush(FILE* file) { return TrappedCall<"fflush", int>(file); }

void* dlopen(const char* path, int flags) { return TrappedCall<"dlopen", void*>(path, flags); }

} // extern "C"
#pragma GCC visibility pop
