#include "audit/mountcommand.h"

#include <QStringList>

// clazy:excludeall=non-pod-global-static

namespace {

enum : MountOptions { NoSuid = 1, NoDev = 2, NoExec = 4, NoSymfollow = 8 };

struct Effect
{
    const char *word;
    MountOptions sets;
    MountOptions clears;
};

/// As mount(8) takes them, one after the other; "defaults" takes nothing back.
constexpr Effect effects[] = {
    {"nosuid", NoSuid, 0},
    {"nodev", NoDev, 0},
    {"noexec", NoExec, 0},
    {"nosymfollow", NoSymfollow, 0},
    {"suid", 0, NoSuid},
    {"dev", 0, NoDev},
    {"exec", 0, NoExec},
    {"symfollow", 0, NoSymfollow},
    {"user", NoSuid | NoDev | NoExec, 0},
    {"users", NoSuid | NoDev | NoExec, 0},
    {"owner", NoSuid | NoDev, 0},
    {"group", NoSuid | NoDev, 0},
};

/// What may stand before a command's name.
const QStringList beforeCommand
    = {QStringLiteral("then"),  QStringLiteral("do"),   QStringLiteral("else"),
       QStringLiteral("if"),    QStringLiteral("elif"), QStringLiteral("while"),
       QStringLiteral("until"), QStringLiteral("exec"), QStringLiteral("busybox"),
       QStringLiteral("!"),     QStringLiteral("{")};

struct Command
{
    int line;
    QStringList words;
};

/// Takes a text apart into simple commands as a shell does, as far as that matters here. What is
/// quoted and holds a blank is taken for commands too: so it is in a rule's RUN and behind "sh -c".
class Splitter
{
public:
    explicit Splitter(int firstLine)
        : line(firstLine)
    {
    }

    std::vector<Command> split(const QString &text);

private:
    void take(QChar sign, QChar next);
    void takeQuoted(QChar sign);
    void endWord();
    void endCommand();

    std::vector<Command> commands;
    Command command = {0, {}};
    QString word;
    QString quoted;
    QChar quote; ///< Null outside of quotes.
    int line;
    bool isComment = false;
    bool isEscaped = false;
};

void Splitter::endWord()
{
    if (!word.isEmpty() && command.words.isEmpty())
        command.line = line;
    if (!word.isEmpty())
        command.words << word;
    word.clear();
}

void Splitter::endCommand()
{
    endWord();
    if (!command.words.isEmpty())
        commands.push_back(command);
    command.words.clear();
}

void Splitter::takeQuoted(QChar sign)
{
    if (sign != quote) {
        word += sign;
        quoted += sign;
        return;
    }
    quote = QChar();
    if (!quoted.contains(QLatin1Char(' ')))
        return;
    for (const Command &inner : Splitter(line).split(quoted))
        commands.push_back(inner);
}

void Splitter::take(QChar sign, QChar next)
{
    if (isEscaped) {
        isEscaped = false;
        if (sign == QLatin1Char('\n'))
            endWord();
        else
            word += sign;
    } else if (!quote.isNull()) {
        takeQuoted(sign);
    } else if (sign == QLatin1Char('\n')
               || (!isComment && QStringLiteral(";|&()`").contains(sign))) {
        isComment = false;
        endCommand();
    } else if (isComment) {
        return;
    } else if (sign == QLatin1Char('\\') && !next.isNull()) {
        isEscaped = true;
    } else if (sign == QLatin1Char('"') || sign == QLatin1Char('\'')) {
        quote = sign;
        quoted.clear();
    } else if (sign.isSpace()) {
        endWord();
    } else if (sign == QLatin1Char('#') && word.isEmpty()) {
        isComment = true;
    } else {
        word += sign;
    }
}

std::vector<Command> Splitter::split(const QString &text)
{
    for (int at = 0; at < text.size(); ++at) {
        take(text.at(at), at + 1 < text.size() ? text.at(at + 1) : QChar());
        line += text.at(at) == QLatin1Char('\n') ? 1 : 0;
    }
    endCommand();
    return commands;
}

/// What is behind the "=" of an assignment or of a unit's "ExecStart=-", else the word itself.
QString withoutKey(const QString &word)
{
    const int equals = word.indexOf(QLatin1Char('='));
    if (equals < 0 || word.startsWith(QLatin1Char('-')))
        return word;
    int begin = equals + 1;
    while (begin < word.size() && QStringLiteral("-+@!:").contains(word.at(begin)))
        ++begin;
    return word.mid(begin);
}

/// The arguments of a command that mounts; nothing of any other.
QStringList mountArguments(QStringList words)
{
    const auto isMount = [](const QString &word) {
        const QString name = withoutKey(word).section(QLatin1Char('/'), -1);
        return name == QLatin1String("mount") || name == QLatin1String("systemd-mount");
    };
    while (!words.isEmpty() && !isMount(words.first())
           && (words.first() != withoutKey(words.first())
               || beforeCommand.contains(words.first().section(QLatin1Char('/'), -1))))
        words.removeFirst();
    return words.isEmpty() || !isMount(words.first()) ? QStringList() : words.mid(1);
}

/// All that is given with an option, such as "-o" or "--options", joined by commas; null if nothing
/// is.
QString given(const QStringList &arguments, const QString &brief, const QString &full)
{
    QStringList values;
    for (int at = 0; at < arguments.size(); ++at) {
        const QString &word = arguments.at(at);
        if (word == brief || word == full)
            values << arguments.value(++at);
        else if (word.startsWith(full + QLatin1Char('=')))
            values << word.mid(full.size() + 1);
        else if (word.startsWith(brief))
            values << word.mid(brief.size());
    }
    return values.isEmpty() ? QString() : values.join(QLatin1Char(','));
}

/// A variable in the last place may be @p place if that is anywhere in the text.
bool namesPlace(const QStringList &arguments, const QString &place, bool isElsewhere)
{
    for (const QString &word : arguments) {
        if (word == place || word == place + QLatin1Char('/'))
            return true;
    }
    return isElsewhere && arguments.value(arguments.size() - 1).startsWith(QLatin1Char('$'));
}

/// All words of a text for the options that a variable of it may hold.
MountOptions optionsAnywhere(const std::vector<Command> &commands)
{
    MountOptions options = 0;
    for (const Command &command : commands) {
        for (const QString &word : command.words)
            options |= mountOptionsIn(withoutKey(word));
    }
    return options;
}

} // namespace

const std::vector<MountOptionRow> wantedMountOptions = {
    {"nosuid", NoSuid, "set-uid programs"},
    {"nodev", NoDev, "device files"},
    {"noexec", NoExec, "programs"},
    {"nosymfollow", NoSymfollow, "links"},
};

MountOptions mountOptionsIn(const QString &list)
{
    MountOptions options = 0;
    const QStringList words = list.split(QLatin1Char(','));
    for (const QString &word : words) {
        for (const Effect &effect : effects) {
            if (word == QLatin1String(effect.word))
                options = (options | effect.sets) & ~effect.clears;
        }
    }
    return options;
}

std::vector<MountCommand> mountCommands(const QString &text, const QString &place)
{
    const std::vector<Command> commands = Splitter(1).split(text);
    std::vector<MountCommand> mounts;
    for (const Command &command : commands) {
        const QStringList arguments = mountArguments(command.words);
        if (!namesPlace(arguments, place, text.contains(place)))
            continue;
        const QString list = given(arguments, QStringLiteral("-o"), QStringLiteral("--options"));
        mounts.push_back(
            {command.line, !list.isNull(),
             list.contains(QLatin1Char('$')) ? optionsAnywhere(commands) : mountOptionsIn(list),
             given(arguments, QStringLiteral("-t"), QStringLiteral("--types"))});
    }
    return mounts;
}
