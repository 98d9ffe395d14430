#include "audit/audit.h"
#include "audit/modes.h"
#include "audit/scriptfile.h"
#include "common/programs.h"
#include "update/stepcatalogue.h"

#include <QSet>

namespace {

struct Consequence
{
    const char *program; ///< Full path.
    const char *seen; ///< When it does not do its work.
};

constexpr Consequence scriptConsequences[] = {
    {installOverridesScript,
     "with overrides on the stick \"Overrides:\" stays on the screen: the installation is tried "
     "again every second, and nothing can be touched"},
    {UtilityScript::removeFile,
     "\"Reset Local/Remote IP Address\" and \"Reset Touch Screen Calibration\" close as if done, "
     "and nothing is reset"},
    {UtilityScript::removeListedFiles,
     "\"Reset All System Settings\" reboots as if done, and nothing is reset"},
    {UtilityScript::removeDisplayFiles,
     "\"Reset Display Detection\" closes as if done, and nothing is reset"},
    {UtilityScript::exportFiles,
     "\"Compressing export data and / writing to USB storage device.\" stays as after an export, "
     "and nothing is exported"},
    {UtilityScript::changePartition,
     "\"Change Version\" reboots as if done, into the version that was active"},
};

constexpr Consequence programConsequences[] = {
    {Program::shell,
     "the scripts are not told the bootloader's version, and the export ends with \"No USB storage "
     "device found.\""},
    {Program::list, "the export ends with \"No USB storage device found.\", whatever is plugged"},
    {Program::filter, "the export ends with \"No USB storage device found.\", whatever is plugged"},
    {Program::reboot,
     "\"!! System Is Rebooting !!\" stays on the screen: the instrument does not restart"},
};

void judge(Tree &tree, Findings &findings, const QString &script, const QString &seen)
{
    if (const auto fault = scriptFault(tree, script))
        findings.add(fault->kind, script, fault->problem,
                     fault->starts ? QStringLiteral("if it fails: ") + seen : seen);
}

/// The scripts of all modes in their order, each once.
QStringList updateScripts()
{
    QStringList scripts;
    for (const ModePlan &plan : modePlans()) {
        for (const auto *uses : {&plan.scripts, &plan.afterRejection}) {
            for (const ScriptUse &use : *uses)
                scripts << use.script;
        }
    }
    scripts.removeDuplicates();
    return scripts;
}

/// A script that is numbered like those of an update, but which nothing starts.
void auditUnused(Tree &tree, Findings &findings)
{
    const QString directory
        = QString::fromLatin1(installOverridesScript).section(QLatin1Char('/'), 0, -2);
    QSet<QString> known;
    known << QString::fromLatin1(installOverridesScript);
    const QStringList scripts = updateScripts();
    for (const QString &script : scripts)
        known << script;
    for (const StepRow &row : stepCatalogue)
        known << QString::fromLatin1(row.script);
    tree.list(directory, [&](const QByteArray &name, Entry::Kind kind) {
        const QString path = directory + QLatin1Char('/') + QString::fromUtf8(name);
        const bool isNumbered = name.at(0) >= '0' && name.at(0) <= '9';
        if (isNumbered && name.endsWith(".sh") && kind != Entry::Directory && !known.contains(path))
            findings.add(Kind::ScriptNeverRun, path, QStringLiteral("is run by no update"),
                         QStringLiteral("nothing of what it is to do"));
        return true;
    });
}

} // namespace

void auditScripts(Tree &tree, Findings &findings)
{
    const QStringList scripts = updateScripts();
    for (const QString &script : scripts)
        judge(tree, findings, script, seenIfNotStarted(script));
    for (const Consequence &script : scriptConsequences)
        judge(tree, findings, QString::fromLatin1(script.program),
              QString::fromLatin1(script.seen));
    auditUnused(tree, findings);
}

void auditPrograms(Tree &tree, Findings &findings)
{
    for (const Consequence &program : programConsequences) {
        const QString path = QString::fromLatin1(program.program);
        const QString problem = programFault(tree, path);
        if (!problem.isEmpty())
            findings.add(Kind::ProgramMissing, path, problem, QString::fromLatin1(program.seen));
    }
    const QString probe = QString::fromLatin1(Program::probe);
    if (findProgram(tree, probe).isEmpty())
        findings.add(
            Kind::ProgramMissing, probe, QStringLiteral("is in no directory of programs"),
            QStringLiteral("the board counts as blank: a stick's update is written at once "
                           "and unchecked, and without a stick the program ends"));
}

void auditMarkers(Tree &tree, Findings &findings)
{
    const QString verify = QString::fromLatin1(verifyFailedMarker);
    const QString overrides = QString::fromLatin1(overrideFailedMarker);
    if (tree.look(verify).exists()) {
        QStringList titles;
        for (const MarkerCheck &check : verifyChecks)
            titles << quoted(QString::fromLatin1(check.title));
        findings.add(Kind::MarkerLeft, verify, QStringLiteral("is left from an earlier update"),
                     titles.join(QStringLiteral(" or "))
                         + QStringLiteral(" whatever is on the stick, unless a script removes it"));
    }
    if (tree.look(overrides).exists())
        findings.add(Kind::MarkerLeftUnused, overrides,
                     QStringLiteral("is left from an earlier installation of overrides"),
                     QStringLiteral("nothing: the program does not look at it"));

    const QString directory = verify.section(QLatin1Char('/'), 0, -2);
    const Entry entry = tree.look(directory);
    if (entry.kind != Entry::Directory && entry.kind != Entry::Unknown)
        findings.add(Kind::MarkerDirectory, directory,
                     entry.kind == Entry::Missing ? entry.what : QStringLiteral("is no directory"),
                     QStringLiteral("no script can reject an update: every one is installed"));
}
