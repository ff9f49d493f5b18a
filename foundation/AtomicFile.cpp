#include "foundation/AtomicFile.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <system_error>

namespace bdx {
namespace {

bool fail(Error* error, int code) {
    if (error) {
        *error = Error::posix(code);
    }
    return false;
}

bool writeAll(int fd, const char* bytes, size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, bytes, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// A name no other writer in this process or another uses at the same moment.
std::filesystem::path temporarySibling(const std::filesystem::path& path) {
    static std::atomic<unsigned> counter{0};
    return path.parent_path() / ("." + path.filename().string() + ".tmp-" + std::to_string(::getpid()) + "-" +
                                 std::to_string(counter.fetch_add(1)));
}

}  // namespace

bool AtomicFile::write(const std::filesystem::path& path, std::string_view bytes, Error* error) {
    std::error_code ec;
    if (path.has_parent_path()) {
        std::filesystem::create_directories(path.parent_path(), ec);
        if (ec) {
            return fail(error, ec.value());
        }
    }
    const std::filesystem::path temporary = temporarySibling(path);
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return fail(error, errno);
    }
    if (!writeAll(fd, bytes.data(), bytes.size()) || ::fsync(fd) != 0) {
        const int code = errno;
        ::close(fd);
        ::unlink(temporary.c_str());
        return fail(error, code);
    }
    if (::close(fd) != 0) {
        const int code = errno;
        ::unlink(temporary.c_str());
        return fail(error, code);
    }
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        const int code = errno;
        ::unlink(temporary.c_str());
        return fail(error, code);
    }
    // The rename itself is durable only once the directory is on disk too.
    const std::filesystem::path directory = path.has_parent_path() ? path.parent_path() : ".";
    const int dirFd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
    return true;
}

bool AtomicFile::write(const std::filesystem::path& path, const Data& bytes, Error* error) {
    return write(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()), error);
}

std::optional<Data> AtomicFile::read(const std::filesystem::path& path, Error* error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        fail(error, errno);
        return std::nullopt;
    }
    Data bytes;
    std::uint8_t buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            const int code = errno;
            ::close(fd);
            fail(error, code);
            return std::nullopt;
        }
        if (got == 0) {
            break;
        }
        bytes.insert(bytes.end(), buffer, buffer + got);
    }
    ::close(fd);
    return bytes;
}

}  // namespace bdx
