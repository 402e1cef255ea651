#pragma once
// Owners of the operating system's resources: a file descriptor, a stdio
// stream, a loaded library. Each closes what it holds exactly once, when it
// is reset or goes out of scope, and hands it over with release(). Header
// only, so that Log.so and the tools, which link none of the library's layers,
// use the same owners.

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

// A file descriptor; negative means none.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : value(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& other) noexcept : value(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return value; }
    explicit operator bool() const { return value >= 0; }
    int release() { return std::exchange(value, -1); }
    void reset(int fd = -1) {
        if (value >= 0) ::close(value);
        value = fd;
    }

private:
    int value = -1;
};

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
// A stdio stream from fopen or fdopen.
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

struct LibraryCloser {
    void operator()(void* handle) const { dlclose(handle); }
};
// A handle from dlopen.
using UniqueLibrary = std::unique_ptr<void, LibraryCloser>;
