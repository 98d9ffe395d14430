#include "tests/logs/twinviews.h"

#include <QApplication>

#include <cstdint>

// Any bytes as a log: it must look as the toolkit has it. An abort is a finding.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int count = 1;
    static char name[] = "fuzz_loglayout";
    static char *arguments[] = {name, nullptr};
    static QApplication application(count, arguments);
    static TwinViews views({800, 480});

    // What the toolkit takes for HTML is shown by the toolkit, and its own texts end at a NUL.
    const QByteArray log(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QString found = views.difference(log);
    if (!found.isEmpty())
        qFatal("%s", qPrintable(found));
    return 0;
}
