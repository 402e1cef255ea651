#pragma once
// Owns one file descriptor and closes it exactly once.

#include <unistd.h>

#include <utility>

namespace siusim {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : value(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& other) noexcept : value(std::exchange(other.value, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) reset(std::exchange(other.value, -1));
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return value; }
    explicit operator bool() const { return value >= 0; }
    void reset(int fd = -1) {
        if (value >= 0) ::close(value);
        value = fd;
    }

private:
    int value = -1;
};

}  // namespace siusim
