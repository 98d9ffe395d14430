#include "tests/fuzz/finding.h"
#include "versions/manifestreader.h"

#include <QRegularExpression>

// Any text as a manifest's date: it shows empty, or as a date, with a time if the text is long
// enough for one. Of a text that is written as it has to be, all its parts are shown; a date that
// no calendar has shows empty.

static bool isInTheCalendar(int year, int month, int day)
{
    static constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1 || month < 1 || month > 12 || day < 1)
        return false;
    const bool leaps = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return day <= lengths[month - 1] + (month == 2 && leaps ? 1 : 0);
}

static QString expected(const QRegularExpressionMatch &written)
{
    static const char *const months[]
        = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const QStringList parts = written.capturedTexts();
    const int month = parts.at(2).toInt();
    if (!isInTheCalendar(parts.at(1).toInt(), month, parts.at(3).toInt()))
        return {};
    const QString date = QStringLiteral("%1 %2 %3")
                             .arg(parts.at(3), QString::fromLatin1(months[month - 1]), parts.at(1));
    const QString time = parts.value(4);
    if (time.isEmpty())
        return date;
    const bool isTime = time.left(2) < QLatin1String("24") && time.mid(3, 2) < QLatin1String("60")
        && time.mid(6) < QLatin1String("60");
    return isTime ? date + QLatin1Char('\n') + time : QString();
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QString value = QString::fromUtf8(inputBytes(data, size));
    const QString shown = formatManifestDate(value);

    static const QRegularExpression right(
        QStringLiteral("\\A([0-9]{4})([0-9]{2})([0-9]{2})(?: ([0-9]{2}:[0-9]{2}:[0-9]{2}))?\\z"));
    const auto written = right.match(value);
    if (written.hasMatch())
        expect(shown == expected(written), "a date shows as it is written");

    static const QRegularExpression shape(
        QStringLiteral("\\A[0-9]{2} [A-Z][a-z]{2} -?[0-9]{4}(\n[0-9]{2}:[0-9]{2}:[0-9]{2})?\\z"));
    const auto looks = shape.match(shown);
    expect(shown.isEmpty() || looks.hasMatch(), "what shows is a date");
    expect(shown.isEmpty() || looks.captured(1).isEmpty() == (value.size() <= 9),
           "a long one has a time");
    return 0;
}
