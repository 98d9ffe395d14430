#include "tests/fuzz/finding.h"
#include "versions/manifestreader.h"

#include <QBuffer>

// Any bytes as the file that names the active partition: it names one only if its first line is
// that partition's number and nothing else.

/// Another encoding, as the toolkit tells it.
static bool hasByteOrderMark(const QByteArray &bytes)
{
    for (const char *mark : {"\xfe\xff", "\xff\xfe", "\xef\xbb\xbf"}) {
        if (bytes.startsWith(mark))
            return true;
    }
    return bytes.startsWith(QByteArray("\0\0\xfe\xff", 4));
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    QByteArray bytes = inputBytes(data, size);
    QBuffer file(&bytes);
    file.open(QIODevice::ReadOnly | QIODevice::Text);
    const QByteArray line = readActivePartition(file);
    expect(!line.contains('\n'), "it is one line");
    expect(QString::fromUtf8(line).size() <= 50, "it has no more than 50 characters");
    if (!hasByteOrderMark(bytes)
        && !QString::fromUtf8(bytes).contains(QChar::ReplacementCharacter)) {
        // the toolkit itself leaves out every carriage return of a text
        const QByteArray first = QByteArray(bytes).replace('\r', "").split('\n').constFirst();
        for (const QByteArray &partition : partitionIds)
            expect((line == partition) == (first == partition), "nothing is trimmed");
    }
    return 0;
}
