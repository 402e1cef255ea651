#include "loglib/LogCompress.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <memory>
#include <vector>

#include "loglib/LogFile.h"

namespace loglib {
namespace {

constexpr std::size_t kChunk = 64 * 1024;
const char kGzSuffix[] = ".gz";
constexpr std::size_t kGzSuffixLength = sizeof(kGzSuffix) - 1;

// A gzFile over a duplicate of a descriptor we keep, so that the file can
// still be synced after the stream is closed.
struct GzCloser {
    void operator()(gzFile_s* gz) const { gzclose(gz); }
};
using GzPtr = std::unique_ptr<gzFile_s, GzCloser>;

GzPtr gzOver(int fd, const char* mode) {
    int copy = dup(fd);
    if (copy < 0) return nullptr;
    gzFile gz = gzdopen(copy, mode);
    if (gz == nullptr) close(copy);
    return GzPtr(gz);
}

// Closes the stream and reports whether it ended cleanly (for reading: the
// input held complete gzip members).
bool gzFinish(GzPtr& gz) {
    return gzclose(gz.release()) == Z_OK;
}

bool pathExists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

// Opens a regular file for reading without following a symbolic link or
// blocking on a FIFO.
bool openRegular(const std::string& path, UniqueFd& fd, struct stat& st) {
    fd.reset(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    return fd.get() >= 0 && fstat(fd.get(), &st) == 0 && S_ISREG(st.st_mode);
}

bool writeAll(int fd, const char* data, std::size_t length) {
    while (length > 0) {
        ssize_t n = write(fd, data, length);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        length -= static_cast<std::size_t>(n);
    }
    return true;
}

// A temporary file beside target, removed unless published under target's
// name. Publishing never replaces an existing file.
class TempFile {
public:
    explicit TempFile(const std::string& finalName)
        : target(finalName), name(finalName + ".XXXXXX") {
        fd.reset(mkostemp(name.data(), O_CLOEXEC));
        if (fd.get() < 0) name.clear();
    }
    ~TempFile() {
        if (!name.empty()) unlink(name.c_str());
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    int get() const { return fd.get(); }

    bool publish(mode_t mode) {
        if (fchmod(fd.get(), mode & 07777) != 0 || fsync(fd.get()) != 0) return false;
        if (renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0) {
            // File systems without RENAME_NOREPLACE: link() refuses to replace too.
            if (errno != EINVAL || link(name.c_str(), target.c_str()) != 0) return false;
            unlink(name.c_str());
        }
        name.clear();
        return true;
    }

private:
    std::string target;
    std::string name;
    UniqueFd fd;
};

}  // namespace

bool gzipFile(const std::string& path) {
    UniqueFd in;
    struct stat st {};
    std::string target = path + kGzSuffix;
    if (!openRegular(path, in, st) || pathExists(target)) return false;
    TempFile out(target);
    if (out.get() < 0) return false;
    GzPtr gz = gzOver(out.get(), "wb");
    if (!gz) return false;
    std::vector<char> buffer(kChunk);
    for (;;) {
        ssize_t n = read(in.get(), buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) break;
        if (gzwrite(gz.get(), buffer.data(), static_cast<unsigned>(n)) != n) return false;
    }
    if (!gzFinish(gz) || !out.publish(st.st_mode)) return false;
    unlink(path.c_str());
    return true;
}

bool gunzipFile(const std::string& gzPath) {
    if (gzPath.size() <= kGzSuffixLength ||
        gzPath.compare(gzPath.size() - kGzSuffixLength, kGzSuffixLength, kGzSuffix) != 0) {
        return false;
    }
    std::string target = gzPath.substr(0, gzPath.size() - kGzSuffixLength);
    UniqueFd in;
    struct stat st {};
    if (!openRegular(gzPath, in, st) || pathExists(target)) return false;
    GzPtr gz = gzOver(in.get(), "rb");
    if (!gz) return false;
    TempFile out(target);
    if (out.get() < 0) return false;
    std::vector<char> buffer(kChunk);
    for (;;) {
        int n = gzread(gz.get(), buffer.data(), static_cast<unsigned>(buffer.size()));
        if (n < 0) return false;
        // zlib passes data without a gzip header through unchanged; that is
        // not a compressed file.
        if (gzdirect(gz.get())) return false;
        if (n == 0) break;
        if (!writeAll(out.get(), buffer.data(), static_cast<std::size_t>(n))) return false;
    }
    if (!gzFinish(gz) || !out.publish(st.st_mode)) return false;
    unlink(gzPath.c_str());
    return true;
}

}  // namespace loglib
