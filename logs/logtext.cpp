#include "logs/logtext.h"

#include <cstring>

namespace {

constexpr quint64 lanes8 = 0x0101010101010101;
constexpr quint64 lanes16 = 0x0001000100010001;

/// Past the characters, taken eight bytes at a time, that are all from ' ' to '~'.
template <typename Character>
int skip(const Character *characters, int position, int size, quint64 lanes)
{
    constexpr int step = sizeof(quint64) / sizeof(Character);
    constexpr bool isWide = sizeof(Character) > 1;
    for (; position + step <= size; position += step) {
        quint64 some;
        std::memcpy(&some, characters + position, sizeof some);
        if (some & ((isWide ? 0xFF80 : 0x80) * lanes))
            break;
        const quint64 notBelowBlank = (some + 0x60 * lanes) & (0x80 * lanes);
        const quint64 isDelete = (some + lanes) & (0x80 * lanes);
        if (notBelowBlank != 0x80 * lanes || isDelete != 0)
            break;
    }
    return position;
}

bool isAscii(const QByteArray &bytes)
{
    quint64 all = 0;
    int i = 0;
    for (; i + 8 <= bytes.size(); i += 8) {
        quint64 some;
        std::memcpy(&some, bytes.constData() + i, sizeof some);
        all |= some;
    }
    for (; i < bytes.size(); ++i)
        all |= static_cast<uchar>(bytes.at(i));
    return (all & (0x80 * lanes8)) == 0;
}

} // namespace

LogText LogText::fromFile(const QByteArray &bytes)
{
    LogText text;
    if (isAscii(bytes)) {
        text.narrow = bytes;
        if (bytes.contains('\r'))
            text.narrow.replace("\r\n", "\n");
    } else {
        text.wide = QString::fromUtf8(bytes.constData(), bytes.size()); // with its NULs
        if (text.wide.contains(QLatin1Char('\r')))
            text.wide.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    }
    return text;
}

QString LogText::mid(int position, int length) const
{
    return narrow.isNull() ? wide.mid(position, length)
                           : QString::fromLatin1(narrow.constData() + position, length);
}

int LogText::lastLineFeed(int from, int to) const
{
    for (int position = to - 1; position >= from; --position) {
        if (at(position) == '\n')
            return position;
    }
    return -1;
}

int LogText::skipPrintable(int position) const
{
    return narrow.isNull() ? skip(wide.utf16(), position, wide.size(), lanes16)
                           : skip(narrow.constData(), position, narrow.size(), lanes8);
}
