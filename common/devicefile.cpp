#include "common/devicefile.h"

#include <QFile>

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

constexpr off_t mostBytes = (1 << 30) - (1 << 20);

// A file of the kernel's does not say how much there is to read. None that has an end has as much.
constexpr off_t mostOfTheKernel = 64 << 20;

/// Whether a file that claims to be empty ends, without a wait for more.
bool ends(const QByteArray &path)
{
    const int descriptor = open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    std::array<char, 1 << 16> bytes;
    off_t all = 0;
    ssize_t some = descriptor < 0 ? 0 : 1;
    while (some > 0 && all < mostOfTheKernel) {
        some = read(descriptor, bytes.data(), bytes.size());
        all += some;
    }
    const bool waits = some < 0 && errno == EAGAIN;
    if (descriptor >= 0)
        close(descriptor);
    return !waits && all < mostOfTheKernel; // another error is for the caller to meet
}

bool canBeRead(const QByteArray &path)
{
    struct stat status = {};
    if (stat(path.constData(), &status) != 0)
        return false;
    if (S_ISCHR(status.st_mode))
        return major(status.st_rdev) == 1 && minor(status.st_rdev) == 3; // the null device
    if (!S_ISREG(status.st_mode) || status.st_size >= mostBytes)
        return false;
    return status.st_size > 0 || ends(path);
}

} // namespace

bool openForReading(QFile &file, QIODevice::OpenMode mode)
{
    return canBeRead(QFile::encodeName(file.fileName())) && file.open(mode);
}
