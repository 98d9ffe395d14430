#include "audit/fontfile.h"

#include <QtEndian>

namespace {

// What is read of a font at most: real ones have some 20 tables, and names of a few kilobytes.
constexpr int collectionLimit = 64;
constexpr int tableLimit = 128;
constexpr int namesLimit = 256 * 1024;

constexpr int tableRecordLength = 16;
constexpr int nameRecordLength = 12;

/// A stretch of the file; numbers past its end are 0, and texts empty.
class Bytes
{
public:
    explicit Bytes(const QByteArray &read)
        : bytes(read)
    {
    }
    quint32 number(int at, int length) const
    {
        quint32 value = 0;
        for (int i = at; i < at + length; ++i)
            value
                = value << 8 | (i >= 0 && i < bytes.size() ? static_cast<quint8>(bytes.at(i)) : 0U);
        return value;
    }
    QByteArray text(int at, int length) const { return bytes.mid(at, length); }

private:
    QByteArray bytes;
};

Bytes readBytes(Tree &tree, const QString &path, qint64 length, qint64 offset)
{
    return Bytes(tree.read(path, length, offset).value_or(QByteArray()));
}

/// A family's name in one of the encodings that fonts use: UTF-16 or, on the oldest platform,
/// bytes.
QString decodeName(const QByteArray &name, quint32 platform)
{
    if (platform == 1)
        return QString::fromLatin1(name);
    QString text;
    for (int i = 0; i + 1 < name.size(); i += 2)
        text += QChar(qFromBigEndian<quint16>(name.constData() + i));
    return text;
}

void addNames(const Bytes &names, QStringList &families)
{
    const int texts = static_cast<int>(names.number(4, 2));
    const int count = static_cast<int>(names.number(2, 2));
    for (int i = 0; i < count; ++i) {
        const int record = 6 + i * nameRecordLength;
        const quint32 meaning = names.number(record + 6, 2);
        if (meaning != 1 && meaning != 16) // family, and family where a font has many styles
            continue;
        families << decodeName(names.text(texts + static_cast<int>(names.number(record + 10, 2)),
                                          static_cast<int>(names.number(record + 8, 2))),
                               names.number(record, 2));
    }
}

void addFont(Tree &tree, const QString &path, qint64 offset, QStringList &families)
{
    const Bytes header = readBytes(tree, path, 12 + tableLimit * tableRecordLength, offset);
    const quint32 version = header.number(0, 4);
    if (version != 0x00010000 && header.text(0, 4) != "OTTO" && header.text(0, 4) != "true")
        return;
    const int tables = std::min(static_cast<int>(header.number(4, 2)), tableLimit);
    for (int i = 0; i < tables; ++i) {
        const int record = 12 + i * tableRecordLength;
        if (header.text(record, 4) != "name")
            continue;
        const qint64 length = std::min<qint64>(header.number(record + 12, 4), namesLimit);
        addNames(readBytes(tree, path, length, header.number(record + 8, 4)), families);
    }
}

} // namespace

QStringList fontFamilies(Tree &tree, const QString &path)
{
    QStringList families;
    const Bytes start = readBytes(tree, path, 12 + collectionLimit * 4, 0);
    if (start.text(0, 4) != "ttcf") {
        addFont(tree, path, 0, families);
        return families;
    }
    const int fonts = std::min(static_cast<int>(start.number(8, 4)), collectionLimit);
    for (int i = 0; i < fonts; ++i)
        addFont(tree, path, start.number(12 + i * 4, 4), families);
    return families;
}
