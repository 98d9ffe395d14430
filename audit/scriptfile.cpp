#include "audit/scriptfile.h"

#include <QStringList>

#include <algorithm>

namespace {

/// What the kernel reads to find out how to start a file.
constexpr int headLength = 256;
/// No script is longer; of one that is, the rest is not looked at.
constexpr qint64 lineEndsLength = 4LL * 1024 * 1024;

/// A directory of scripts holds some twenty; the help with a spelling is not worth more time.
constexpr int alikeLimit = 2000;

constexpr const char *programDirectories[]
    = {"/usr/local/sbin", "/usr/local/bin", "/usr/sbin", "/usr/bin", "/sbin", "/bin"};

/// The "#!" line without its marker, as the kernel takes it apart: words of which it uses the
/// first.
struct InterpreterLine
{
    QByteArray interpreter; ///< Empty where there is none.
    QByteArray argument; ///< All that follows, blanks included.
};

/// Cuts the line that begins @p head; nothing if the kernel would not take it.
std::optional<InterpreterLine> interpreterLine(const QByteArray &head)
{
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    const int end = head.indexOf('\n');
    QByteArray line = head.mid(2, end < 0 ? -1 : end - 2);
    if (end >= 0 || head.size() < headLength) {
        while (!line.isEmpty() && isBlank(line.back()))
            line.chop(1);
    }
    const auto *first = std::find_if_not(line.cbegin(), line.cend(), isBlank);
    const auto *last = std::find_if(first, line.cend(), isBlank);
    if (first == last)
        return std::nullopt;
    // A line that goes on past what is read may have lost the end of the interpreter's name.
    if (end < 0 && head.size() == headLength && last == line.cend())
        return std::nullopt;
    const auto *argument = std::find_if_not(last, line.cend(), isBlank);
    return InterpreterLine {QByteArray(first, static_cast<int>(last - first)),
                            QByteArray(argument, static_cast<int>(line.cend() - argument))};
}

ScriptFault unstartable(Kind kind, const QString &problem) { return {kind, problem, false}; }

/// The file that is there under another name, to help whoever looks for a spelling.
QString alike(Tree &tree, const QString &path)
{
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    const QString name = path.mid(slash + 1);
    QString found;
    int looked = 0;
    tree.list(path.left(slash), [&](const QByteArray &entry, Entry::Kind) {
        const QString candidate = QString::fromUtf8(entry);
        const bool isAlike = candidate != name
            && (candidate.compare(name, Qt::CaseInsensitive) == 0
                || candidate.startsWith(name + QLatin1Char('.')));
        if (isAlike)
            found = candidate;
        return !isAlike && ++looked < alikeLimit;
    });
    return found.isEmpty() ? QString() : QStringLiteral(" (there is ") + found + QLatin1Char(')');
}

std::optional<ScriptFault> fileFault(Tree &tree, const QString &script, const Entry &entry)
{
    switch (entry.kind) {
    case Entry::Unknown:
        return std::nullopt; // the tree has noted it
    case Entry::Missing:
        return unstartable(Kind::ScriptMissing, entry.what + alike(tree, script));
    case Entry::Directory:
    case Entry::Special:
        return unstartable(Kind::ScriptNotAFile, entry.what);
    case Entry::File:
        break;
    }
    if (!entry.executable)
        return unstartable(Kind::ScriptNotExecutable, QStringLiteral("is not executable"));
    if (entry.size == 0)
        return unstartable(Kind::ScriptEmpty, QStringLiteral("is empty"));
    return std::nullopt;
}

/// The program that "env" as an interpreter is to find, empty if that cannot be told.
QString lookedForByEnv(const InterpreterLine &line)
{
    if (!line.interpreter.endsWith("/env") || line.argument.startsWith('-'))
        return {};
    return QString::fromUtf8(line.argument.split(' ').first());
}

std::optional<ScriptFault> interpreterFault(Tree &tree, const QByteArray &head)
{
    const auto line = interpreterLine(head);
    if (!line)
        return unstartable(Kind::ScriptInterpreterLine,
                           QStringLiteral("names no interpreter in its \"#!\" line"));
    if (line->interpreter.endsWith('\r'))
        return unstartable(Kind::ScriptWindowsLines,
                           QStringLiteral("has Windows line ends, and so the interpreter \"")
                               + QString::fromUtf8(line->interpreter.chopped(1))
                               + QStringLiteral("\\r\""));
    const QString interpreter = QString::fromUtf8(line->interpreter);
    if (!interpreter.startsWith(QLatin1Char('/')))
        return unstartable(Kind::ScriptInterpreterLine,
                           QStringLiteral("names its interpreter \"") + interpreter
                               + QStringLiteral("\" without a full path"));
    const Entry entry = tree.look(interpreter);
    if (entry.kind == Entry::Missing)
        return unstartable(Kind::ScriptInterpreterMissing,
                           QStringLiteral("needs ") + interpreter + QStringLiteral(", which ")
                               + entry.what);
    if (entry.kind != Entry::Unknown && (entry.kind != Entry::File || !entry.executable))
        return unstartable(Kind::ScriptInterpreterNotExecutable,
                           QStringLiteral("needs ") + interpreter
                               + QStringLiteral(", which cannot be executed"));
    const QString program = lookedForByEnv(*line);
    if (!program.isEmpty() && findProgram(tree, program).isEmpty())
        return ScriptFault {Kind::ScriptInterpreterMissing,
                            QStringLiteral("needs \"") + program
                                + QStringLiteral("\", which is in no directory of programs"),
                            true};
    return std::nullopt;
}

/// The first line that ends as on Windows, counted from 1; 0 if none does. What follows a NUL is no
/// text.
int firstWindowsLine(const QByteArray &content)
{
    const int textEnd = content.indexOf('\0');
    const QByteArray text = textEnd < 0 ? content : content.left(textEnd);
    const int at = text.indexOf("\r\n");
    return at < 0 ? 0 : 1 + text.left(at).count('\n');
}

} // namespace

std::optional<ScriptFault> scriptFault(Tree &tree, const QString &script)
{
    const Entry entry = tree.look(script);
    if (auto fault = fileFault(tree, script, entry); fault || entry.kind != Entry::File)
        return fault;
    const auto content = tree.read(script, std::min(entry.size, lineEndsLength));
    if (!content || content->startsWith("\177ELF"))
        return std::nullopt;
    if (content->startsWith("\xef\xbb\xbf#!"))
        return unstartable(Kind::ScriptWithoutInterpreter,
                           QStringLiteral("begins with a byte order mark instead of \"#!\""));
    if (!content->startsWith("#!"))
        return unstartable(Kind::ScriptWithoutInterpreter,
                           QStringLiteral("does not begin with \"#!\""));
    if (auto fault = interpreterFault(tree, content->left(headLength)))
        return fault;
    if (const int line = firstWindowsLine(*content))
        return ScriptFault {Kind::ScriptWindowsLines,
                            QStringLiteral("has Windows line ends, from line ")
                                + QString::number(line) + QStringLiteral(" on"),
                            true};
    return std::nullopt;
}

QString programFault(Tree &tree, const QString &program)
{
    const Entry entry = tree.look(program);
    if (entry.kind == Entry::Unknown)
        return {};
    if (entry.kind != Entry::File)
        return entry.what;
    return entry.executable ? QString() : QStringLiteral("is not executable");
}

QString findProgram(Tree &tree, const QString &name)
{
    if (name.contains(QLatin1Char('/')))
        return programFault(tree, name).isEmpty() ? name : QString();
    for (const char *directory : programDirectories) {
        QString path = QString::fromLatin1(directory) + QLatin1Char('/') + name;
        if (programFault(tree, path).isEmpty())
            return path;
    }
    return {};
}
