#include "tests/support/commandline.h"

#include <array>

namespace CommandLine {

static std::array<QByteArray, 8> bytes;
static std::array<char *, 9> pointers;
static int pointerCount = 0;

void set(const QStringList &options)
{
    QStringList all = options;
    all.prepend(QStringLiteral("teskupdater"));
    if (static_cast<std::size_t>(all.size()) > bytes.size())
        qFatal("too many options");
    pointerCount = 0;
    for (const QString &option : qAsConst(all)) {
        const auto index = static_cast<std::size_t>(pointerCount++);
        bytes[index] = option.toLocal8Bit();
        pointers[index] = bytes[index].data();
        pointers[index + 1] = nullptr;
    }
}

int &count() { return pointerCount; }

char **texts() { return pointers.data(); }

} // namespace CommandLine
