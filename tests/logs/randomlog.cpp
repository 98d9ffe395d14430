#include "tests/logs/randomlog.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>

namespace {

constexpr int largest = 200000;

class Dice
{
public:
    explicit Dice(quint32 seed)
        : engine(seed)
    {
    }

    int below(int limit) { return static_cast<int>(engine() % static_cast<quint32>(limit)); }
    bool oneIn(int chances) { return below(chances) == 0; }
    /// Up to @p limit, small as often as large.
    int anySize(int limit)
    {
        return static_cast<int>(std::exp2(below(1000) / 1000.0 * std::log2(limit + 1)) - 1);
    }

private:
    std::mt19937 engine; // the one whose numbers the standard fixes
};

const char *const words[] = {
    "Nov",
    "21",
    "02:41:11",
    "indicator",
    "kernel:",
    "usb",
    "1-1:",
    "device",
    "/dev/mmcblk0p2",
    "[12.345678]",
    "0x7f",
    "value=3.14",
    "(ok)",
    "error,",
    "read/write",
    "-1",
    "<new>",
    "100%",
    "foo_bar_baz",
    "\"quoted\"",
    "it's",
    "a",
    "{x|y}",
    "C:\\temp",
    "$HOME",
    "!?",
    "1,000.50",
    "12 34 56",
    "50-60",
    "~/x",
    "a+b=c",
    "192.168.1.10:8080",
    "x;y;z",
    "--",
    "===",
    "...",
    "@home",
    "2024-01-31",
    "00 1f ff",
    "e-mail",
    "((",
    "))",
    "[]",
    "#1",
    "*",
    "&amp;",
    "a/b/c/d/e/f",
};

const char *const foreignWords[] = {
    "22\xC2\xB0"
    "C",
    "M\xC3\xBCller",
    "\xD0\xB6\xD1\x83\xD1\x80\xD0\xBD\xD0\xB0\xD0\xBB",
    "\xCE\xB1\xCE\xB2\xCE\xB3",
    "e\xCC\x81\xCC\xA7",
    "a\xCC\x81\xCC\x82\xCC\x83\xCC\x84\xCC\x85",
    "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D",
    "\xD8\xB3\xD9\x84\xD8\xA7\xD9\x85",
    "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E",
    "\xED\x95\x9C\xEA\xB5\xAD\xEC\x96\xB4",
    "\xF0\x9F\x98\x80",
    "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x94\xA7",
    "\xC2\xA0",
    "\xC2\xAD",
    "\xE2\x80\x8B",
    "\xE2\x80\xAE",
    "\xE2\x80\x8E",
    "\xEF\xBB\xBF",
    "\xE2\x80\xA8",
    "\xE2\x80\xA9",
    "\xEF\xB7\x90",
    "\xEF\xB7\x91",
    "\xFF",
    "\xC3",
    "\xE2\x82",
    "\xC2\x85",
    "\xE2\x82\xAC",
    "\xE2\x94\x80\xE2\x94\x80",
    "\xE0\xA4\xA8\xE0\xA4\xAE",
    "\xE0\xB8\x81\xE0\xB8\xA5",
    "\xF0\x9D\x84\x9E",
    "\xEF\xBF\xBC",
    "\xEF\xBF\xBD",
    "\xC2\xB5s",
    "\xE2\x86\x92",
    "\xEF\xAC\x81",
};

// What the log's font has itself, as wide as ASCII.
const char *const europeanWords[] = {
    "22\xC2\xB0"
    "C",
    "5\xC2\xB5s",
    "\xC2\xB1"
    "0.5",
    "M\xC3\xBCller",
    "Gr\xC3\xB6\xC3\x9F"
    "en\xC3\xA4nderung",
    "d\xC3\xA9j\xC3\xA0",
    "\xC2\xAB\xC2\xA0no\xC3\xABl\xC2\xA0\xC2\xBB",
    "\xC5\x82\xC4\x85ka",
    "\xD0\xB6\xD1\x83\xD1\x80\xD0\xBD\xD0\xB0\xD0\xBB",
    "\xD0\x96\xD0\xA9\xD0\xAE:",
    "\xCE\xB1\xCE\xB2\xCE\xB3/\xCE\xA9",
    "\xE2\x80\x9E"
    "aus\xE2\x80\x9C",
    "\xE2\x80\x98"
    "a\xE2\x80\x99",
    "\xE2\x80\x93",
    "a\xE2\x80\x94"
    "b",
    "\xE2\x80\xA6",
    "\xE2\x80\xA2",
    "\xE2\x82\xAC"
    "100",
    "100\xE2\x82\xAC",
    "\xC2\xA3"
    "5",
    "\xE2\x94\x80\xE2\x94\x80\xE2\x94\xBC",
    "\xE2\x94\x82",
    "\xE2\x96\x88\xE2\x96\x91",
    "\xE2\x86\x92",
    "\xE2\x89\xA4"
    "3",
    "10\xE2\x80\xB0",
    "\xC2\xA7"
    "1",
    "\xC2\xBF"
    "que?",
    "\xC2\xBD",
    "x\xC2\xB2",
    "\xC2\xA0",
};

const char *const lineEnds[] = {"\n", "\n", "\n", "\n", "\n", "\n", "\r\n", "\r", "\n\n", "\n\r"};

template <std::size_t size> QByteArray oneOf(Dice &dice, const char *const (&choice)[size])
{
    return choice[dice.below(static_cast<int>(size))];
}

/// Which kinds of things a log holds: most hold a few of them.
struct Habits
{
    bool foreign, european, tabs, controls, longWords, blanks, anyLineEnd, numbers;
    int longestLine, longestWord;
};

Habits habitsFrom(Dice &dice)
{
    Habits habits;
    habits.foreign = dice.oneIn(3);
    habits.european = dice.oneIn(3);
    habits.tabs = dice.oneIn(3);
    habits.controls = dice.oneIn(4);
    habits.longWords = dice.oneIn(3);
    habits.blanks = dice.oneIn(3);
    habits.anyLineEnd = dice.oneIn(4);
    habits.numbers = dice.oneIn(5);
    habits.longestLine = 10 + dice.anySize(dice.oneIn(6) ? 60000 : 400);
    habits.longestWord = 100 + dice.anySize(dice.oneIn(5) ? 8000 : 500);
    return habits;
}

QByteArray longWord(Dice &dice, int longest)
{
    const int size = dice.anySize(longest);
    switch (dice.below(5)) {
    case 0:
        return QByteArray(size, '\0');
    case 1:
        return QByteArray(size, 'x');
    case 2:
        return QByteArray(size, static_cast<char>('!' + dice.below(94)));
    default:
        break;
    }
    QByteArray word;
    for (int i = 0; i < size; ++i)
        word += static_cast<char>('!' + dice.below(94));
    return word;
}

QByteArray nextWord(Dice &dice, const Habits &habits)
{
    if (habits.foreign && dice.oneIn(4))
        return oneOf(dice, foreignWords);
    if (habits.european && dice.oneIn(3))
        return oneOf(dice, europeanWords);
    if (habits.tabs && dice.oneIn(5))
        return QByteArray(1 + dice.below(3), '\t');
    if (habits.controls && dice.oneIn(8))
        return QByteArray(1 + dice.below(3), static_cast<char>(dice.below(32)));
    if (habits.longWords && dice.oneIn(20))
        return longWord(dice, habits.longestWord);
    if (habits.blanks && dice.oneIn(6))
        return QByteArray(dice.anySize(200), ' ');
    if (habits.numbers && dice.oneIn(2))
        return QByteArray::number(dice.below(1 << 20));
    return oneOf(dice, words);
}

} // namespace

QByteArray randomLog(quint32 seed)
{
    Dice dice(seed);
    const int size = dice.anySize(largest);
    const Habits habits = habitsFrom(dice);
    QByteArray log;
    int lineSize = dice.anySize(habits.longestLine);
    int lineStart = 0;
    while (log.size() < size) {
        log += nextWord(dice, habits);
        if (log.size() - lineStart < lineSize) {
            log += dice.oneIn(6) ? "" : " ";
            continue;
        }
        log += habits.anyLineEnd ? oneOf(dice, lineEnds) : QByteArray("\n");
        lineStart = log.size();
        lineSize = dice.anySize(habits.longestLine);
    }
    if (dice.oneIn(3))
        log.chop(1 + dice.below(2)); // no last line end
    return log;
}
