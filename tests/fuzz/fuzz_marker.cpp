#include "tests/fuzz/finding.h"
#include "update/stepcatalogue.h"
#include "update/updatethread.h"

#include <QFile>

#include <cstdio>

// Any bytes as the marker that rejects an update: it rejects whatever it holds, and its last line
// is kept.

/// Without carriage returns, which a line may or may not end with.
static QByteArray lastLine(QByteArray bytes)
{
    const int end = bytes.endsWith('\n') ? bytes.size() - 2 : bytes.size() - 1;
    return bytes.mid(end < 0 ? 0 : bytes.lastIndexOf('\n', end) + 1).replace('\r', "");
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    static FILE *const console = std::freopen("/dev/null", "w", stdout);
    expect(console != nullptr, "what is printed has a place to go to");
    const QByteArray bytes = inputBytes(data, size);
    QFile marker(QString::fromLatin1(verifyFailedMarker));
    expect(marker.open(QIODevice::WriteOnly) && marker.write(bytes) == bytes.size(),
           "it is written");
    marker.close();

    UpdateThread thread;
    expect(thread.checkVerifyFailed(1) == 1 && thread.status == 1, "it rejects the update");
    QByteArray text = QByteArray::fromStdString(thread.verifyFailText);
    expect(text.replace('\r', "") == lastLine(bytes), "the last line is kept");
    return 0;
}
