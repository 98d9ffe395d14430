#include "audit/tree.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// Closes the descriptor when it goes out of scope.
class Descriptor
{
public:
    explicit Descriptor(int descriptor)
        : number(descriptor)
    {
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor()
    {
        if (number >= 0)
            ::close(number);
    }
    operator int() const { return number; }

private:
    int number;
};

Entry::Kind kindOf(mode_t mode)
{
    if (S_ISREG(mode))
        return Entry::File;
    if (S_ISDIR(mode))
        return Entry::Directory;
    return S_ISLNK(mode) ? Entry::Missing : Entry::Special;
}

QString inWords(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return QStringLiteral("is an ordinary file");
    case S_IFDIR:
        return QStringLiteral("is a directory");
    case S_IFIFO:
        return QStringLiteral("is a pipe");
    case S_IFSOCK:
        return QStringLiteral("is a socket");
    default:
        return QStringLiteral("is a device");
    }
}

/// What keeps the user who audits from looking, as against what is wrong with the tree.
bool isOurTrouble(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
    case ENAMETOOLONG:
    case EXDEV:
        return false;
    default:
        return true;
    }
}

Entry::Kind kindOfListed(DIR *directory, const dirent &entry)
{
    switch (entry.d_type) {
    case DT_REG:
        return Entry::File;
    case DT_DIR:
        return Entry::Directory;
    case DT_LNK:
        return Entry::Missing;
    case DT_UNKNOWN:
        break;
    default:
        return Entry::Special;
    }
    struct stat state = {};
    if (fstatat(dirfd(directory), entry.d_name, &state, AT_SYMLINK_NOFOLLOW) != 0)
        return Entry::Unknown;
    return kindOf(state.st_mode);
}

} // namespace

Tree::Tree(int directory, Links treatment)
    : top(directory)
    , links(treatment)
{
}

Tree::Tree(Tree &&other) noexcept
    : top(other.top)
    , links(other.links)
    , unseenPlaces(std::move(other.unseenPlaces))
{
    other.top = -1;
}

Tree::~Tree()
{
    if (top >= 0)
        ::close(top);
}

std::optional<Tree> Tree::open(const QString &directory, Links links, QString &reason)
{
    const int top
        = ::open(QFile::encodeName(directory).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (top < 0) {
        reason = QString::fromLocal8Bit(std::strerror(errno));
        return std::nullopt;
    }
    Tree tree(top, links);
    const Descriptor probe(tree.openAt(QStringLiteral("."), O_RDONLY | O_DIRECTORY));
    if (probe < 0) {
        reason = errno == ENOSYS ? QStringLiteral("needs Linux 5.6 or later")
                                 : QString::fromLocal8Bit(std::strerror(errno));
        return std::nullopt;
    }
    return tree;
}

int Tree::openAt(const QString &path, int flags) const
{
    const QByteArray name = path.toUtf8();
    if (name.contains('\0')) {
        errno = ENOENT; // no file has such a name, for the program neither
        return -1;
    }
    open_how how = {};
    how.flags = static_cast<quint64>(flags | O_CLOEXEC);
    how.resolve = RESOLVE_NO_MAGICLINKS; // which the others imply, as long as Linux keeps to that
    how.resolve |= links == StayInside ? RESOLVE_IN_ROOT : RESOLVE_BENEATH;
    // A rename elsewhere at the same moment makes the kernel give up a path with "..".
    for (int attempt = 0; attempt < 10; ++attempt) {
        const long descriptor = syscall(SYS_openat2, top, name.constData(), &how, sizeof how);
        if (descriptor >= 0 || errno != EAGAIN)
            return static_cast<int>(descriptor);
    }
    return -1;
}

void Tree::noteUnseen(const QString &path, int error)
{
    unseenPlaces.emplace(path, QString::fromLocal8Bit(std::strerror(error)));
}

Entry Tree::notThere(const QString &path, int error)
{
    Entry entry;
    if (isOurTrouble(error)) {
        noteUnseen(path, error);
        entry.kind = Entry::Unknown;
        entry.what = QStringLiteral("could not be looked at");
        return entry;
    }
    const Descriptor link(openAt(path, O_PATH | O_NOFOLLOW));
    entry.isLink = link >= 0;
    if (error == EXDEV)
        entry.what = QStringLiteral("leads out of the storage device");
    else if (!entry.isLink)
        entry.what = QStringLiteral("does not exist");
    else if (error == ELOOP)
        entry.what = QStringLiteral("is a link that leads in a circle");
    else
        entry.what = QStringLiteral("is a link that leads nowhere");
    return entry;
}

Entry Tree::look(const QString &path)
{
    const Descriptor descriptor(openAt(path, O_PATH));
    struct stat state = {};
    if (descriptor < 0 || fstat(descriptor, &state) != 0)
        return notThere(path, errno);
    Entry entry;
    entry.kind = kindOf(state.st_mode);
    entry.what = inWords(state.st_mode);
    entry.size = state.st_size;
    entry.device = state.st_dev;
    entry.inode = state.st_ino;
    entry.owner = state.st_uid;
    entry.othersWrite = (state.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    entry.executable = (state.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
    return entry;
}

std::optional<QByteArray> Tree::read(const QString &path, qint64 length, qint64 offset)
{
    if (look(path).kind != Entry::File)
        return std::nullopt;
    // Not even the time of the last reading changes, where that is ours to decide.
    constexpr int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY;
    int number = openAt(path, flags | O_NOATIME);
    if (number < 0 && errno == EPERM)
        number = openAt(path, flags);
    const Descriptor descriptor(number);
    struct stat state = {};
    if (descriptor < 0 || fstat(descriptor, &state) != 0) {
        noteUnseen(path, errno);
        return std::nullopt;
    }
    if (!S_ISREG(state.st_mode))
        return std::nullopt; // exchanged under our eyes

    QByteArray content(static_cast<int>(length), Qt::Uninitialized);
    qint64 filled = 0;
    while (filled < length) {
        const ssize_t got = pread(descriptor, content.data() + filled,
                                  static_cast<std::size_t>(length - filled), offset + filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            noteUnseen(path, errno);
            return std::nullopt;
        }
        if (got == 0)
            break;
        filled += got;
    }
    content.truncate(static_cast<int>(filled));
    return content;
}

void Tree::list(const QString &path,
                const std::function<bool(const QByteArray &, Entry::Kind)> &visit)
{
    if (look(path).kind != Entry::Directory)
        return;
    const int descriptor = openAt(path, O_RDONLY | O_DIRECTORY | O_NONBLOCK);
    if (descriptor < 0) {
        noteUnseen(path, errno);
        return;
    }
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(fdopendir(descriptor), closedir);
    if (!directory) {
        ::close(descriptor);
        return;
    }
    while (const dirent *entry = readdir(directory.get())) {
        const QByteArray name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        if (!visit(name, kindOfListed(directory.get(), *entry)))
            return;
    }
}
