#include "tests/logs/twinviews.h"

#include <QApplication>

#include <cstdint>

// Any bytes as a log: it must look as the toolkit has it. An abort is a finding.

namespace {

// Beside each other in ways that dice seldom bring about: what lines are counted with, what they
// are not, and what they end with. A byte stands for one of them, so that a mutation is a text
// again.
const char *const pieces[] = {
    "a",
    "word",
    "Nov 21",
    "12.5",
    "1,000",
    "50-60",
    "-",
    "/",
    "(",
    ")",
    "[",
    "\"",
    "!",
    "%",
    "$",
    "_",
    "|",
    "\xC2\xB0",
    "\xC2\xB5",
    "\xC2\xAB",
    "\xC2\xBB",
    "\xC2\xA0",
    "\xC2\xA7",
    "\xC2\xBD",
    "\xC3\xA4",
    "\xC3\x9F",
    "\xC3\xA9t\xC3\xA9",
    "\xC5\x82",
    "\xCE\xA9",
    "\xCE\xB1\xCE\xB2",
    "\xD0\x96",
    "\xD0\xB6\xD1\x83\xD1\x80",
    "\xE2\x80\x93",
    "\xE2\x80\x94",
    "\xE2\x80\x98",
    "\xE2\x80\x9C",
    "\xE2\x80\x9D",
    "\xE2\x80\xA2",
    "\xE2\x80\xA6",
    "\xE2\x82\xAC",
    "\xE2\x86\x92",
    "\xE2\x89\xA4",
    "\xE2\x94\x80",
    "\xE2\x94\x82",
    "\xE2\x96\x88",
    "\t",
    "\t\t",
    " ",
    "  ",
    " ",
    " ",
    "                                                                              ",
    "\n",
    "\n",
    "\r\n",
    "\r",
    "\xE2\x80\xA8",
    "\xE2\x80\xA9",
    "e\xCC\x81",
    "\xC2\xAD",
    "\xE6\x97\xA5",
    "\xD7\xA9",
    "\xF0\x9F\x98\x80",
    "\x01",
    "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx",
};

/// Bytes as they are, or if the first says so, pieces by their numbers.
QByteArray logFrom(const QByteArray &bytes)
{
    if (!bytes.startsWith('\xFF'))
        return bytes;
    QByteArray log;
    for (const char byte : bytes.mid(1))
        log += pieces[static_cast<std::uint8_t>(byte) % (sizeof pieces / sizeof *pieces)];
    return log;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int count = 1;
    static char name[] = "fuzz_loglayout";
    static char *arguments[] = {name, nullptr};
    static QApplication application(count, arguments);
    static TwinViews views({800, 480});

    // What the toolkit takes for HTML is shown by the toolkit, and its own texts end at a NUL.
    const QByteArray log = logFrom({reinterpret_cast<const char *>(data), static_cast<int>(size)});
    const QString found = views.difference(log);
    if (!found.isEmpty())
        qFatal("%s", qPrintable(found));
    return 0;
}
