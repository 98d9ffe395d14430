#include "audit/audit.h"
#include "audit/report.h"
#include "common/common.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

struct Flag
{
    const char *name;
    const char *description;
};

constexpr Flag modesFlag = {"modes", "Also list which scripts each update runs, in their order."};
constexpr Flag jsonFlag = {"json", "Report for machines: docs/audit.md describes it."};
constexpr Flag strictFlag = {"strict", "Notes count as findings."};
constexpr char stickOption[] = "stick";

bool isGiven(const QCommandLineParser &parser, const Flag &flag)
{
    return parser.isSet(QString::fromLatin1(flag.name));
}

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QStringLiteral(
        "Reports what teskupdater would pass over in silence, or show wrongly, on an instrument: "
        "\"path: what is wrong: what the user of the instrument would see\". Reads only, follows "
        "no "
        "link out of ROOT and runs nothing.\n\nThe exit status is 0 if all is well, 1 with "
        "findings, "
        "2 if something could not be looked at."));
    parser.addPositionalArgument(QStringLiteral("ROOT"),
                                 QStringLiteral("The root directory of an instrument, or \"/\"."),
                                 QStringLiteral("[ROOT]"));
    parser.addOption({QString::fromLatin1(stickOption),
                      QStringLiteral("Look at what is on a USB storage device."),
                      QStringLiteral("DIR")});
    for (const Flag &flag : {modesFlag, jsonFlag, strictFlag})
        parser.addOption({QString::fromLatin1(flag.name), QString::fromLatin1(flag.description)});
    parser.addHelpOption();
    parser.addVersionOption();
}

int fail(const QString &message)
{
    std::fputs(("teskupdater-audit: " + message + '\n').toUtf8().constData(), stderr);
    return CouldNotLook;
}

int print(const QByteArray &text, int status)
{
    const auto length = static_cast<std::size_t>(text.size());
    if (std::fwrite(text.constData(), 1, length, stdout) != length || std::fflush(stdout) != 0)
        return fail(QStringLiteral("the report could not be written"));
    return status;
}

/// Looks at @p directory, if one is named.
void look(const QString &directory, Tree::Links links, void (*audit)(Tree &, Findings &),
          Report &report)
{
    if (directory.isEmpty())
        return;
    QString reason;
    auto tree = Tree::open(directory, links, reason);
    if (!tree) {
        report.unseen.emplace(directory, reason);
        return;
    }
    audit(*tree, report.findings);
    report.unseen.insert(tree->unseen().begin(), tree->unseen().end());
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("teskupdater-audit"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(bootloaderVersion));

    QCommandLineParser parser;
    describe(parser);
    if (!parser.parse(QCoreApplication::arguments()))
        return fail(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        return print(parser.helpText().toUtf8(), Clean);
    if (parser.isSet(QStringLiteral("version")))
        return print("teskupdater-audit " + bootloaderVersion + '\n', Clean);

    Report report;
    report.root = parser.positionalArguments().value(0);
    report.stick = parser.value(QString::fromLatin1(stickOption));
    report.strict = isGiven(parser, strictFlag);
    if (parser.positionalArguments().size() > 1
        || (report.root.isEmpty() && report.stick.isEmpty()))
        return fail(QStringLiteral("takes a ROOT, --stick DIR or both; see --help"));
    look(report.root, Tree::StayInside, auditInstrument, report);
    look(report.stick, Tree::MustNotLeave, auditStick, report);

    if (isGiven(parser, jsonFlag))
        return print(jsonReport(report), exitStatus(report));
    const bool listsModes = isGiven(parser, modesFlag) && !report.root.isEmpty();
    return print((listsModes ? modesReport(report) : QByteArray()) + textReport(report),
                 exitStatus(report));
}
