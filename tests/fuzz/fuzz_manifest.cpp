#include "tests/fuzz/finding.h"
#include "versions/manifestreader.h"

#include <QRegExp>

// Any text as a manifest: the reader takes the lines that the toolkit's own expression takes, and
// shows the last value of a key.

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QString text = QString::fromUtf8(inputBytes(data, size));
    VersionInfo expected;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QStringList parts = line.split(QLatin1Char('='));
        if (parts.size() < 2 || QRegExp(QStringLiteral("(^\\w+)")).indexIn(line) < 0)
            continue;
        const QString value = QStringList(parts.mid(1)).join(QLatin1Char('='));
        expected["7" + parts.first().toUtf8()] = value.toUtf8();
    }

    VersionInfo versionInfo;
    storeManifest("7", text, versionInfo);
    expect(versionInfo == expected, "a manifest holds what its lines say");
    return 0;
}
