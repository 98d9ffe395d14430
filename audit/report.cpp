#include "audit/report.h"

#include "audit/modes.h"
#include "common/common.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace {

constexpr int schemaVersion = 1;

/// Writes what is no printable sign as "\x1b" or "\u202e".
QString printable(const QString &text)
{
    QString result;
    for (const QChar sign : text) {
        if (sign.isPrint() || sign.isSurrogate())
            result += sign;
        else if (sign.unicode() < 0x100)
            result += QStringLiteral("\\x%1").arg(sign.unicode(), 2, 16, QLatin1Char('0'));
        else
            result += QStringLiteral("\\u%1").arg(sign.unicode(), 4, 16, QLatin1Char('0'));
    }
    return result;
}

/// The same for JSON, whose strings know only the second way. Its own line breaks stay.
QByteArray printableJson(const QByteArray &json)
{
    const QString text = QString::fromUtf8(json);
    QString result;
    for (const QChar sign : text) {
        if (sign.isPrint() || sign.isSurrogate() || sign == QLatin1Char('\n'))
            result += sign;
        else
            result += QStringLiteral("\\u%1").arg(sign.unicode(), 4, 16, QLatin1Char('0'));
    }
    return result.toUtf8();
}

QString place(const Finding &finding)
{
    return finding.line ? finding.path + QLatin1Char(':') + QString::number(finding.line)
                        : finding.path;
}

QString numbered(int number, const char *one, const char *many)
{
    return QString::number(number) + QLatin1Char(' ')
        + QString::fromLatin1(number == 1 ? one : many);
}

QByteArray findingLines(const Findings &findings)
{
    QByteArray lines;
    for (const Finding &finding : findings.all()) {
        const QString line = place(finding) + QStringLiteral(": ") + finding.problem
            + QStringLiteral(": ") + finding.seen;
        lines += (rowOf(finding.kind).fault ? "" : "note: ") + printable(line).toUtf8() + '\n';
    }
    for (const KindRow &row : kindRows) {
        if (const int more = findings.notKept(row.kind))
            lines += "and " + QByteArray::number(more) + " more of the kind " + row.name + '\n';
    }
    return lines;
}

/// Of the scripts in which faults were found, those that the update runs.
QSet<QString> faultyPaths(const Findings &findings)
{
    QSet<QString> paths;
    for (const Finding &finding : findings.all()) {
        if (rowOf(finding.kind).fault)
            paths << finding.path;
    }
    return paths;
}

QByteArray modeLines(const ModePlan &plan, const std::vector<ScriptUse> &scripts,
                     const QSet<QString> &faulty)
{
    QByteArray lines;
    for (const ScriptUse &use : scripts)
        lines += "  " + QByteArray::number(use.progress).rightJustified(3) + " %  "
            + use.script.section(QLatin1Char('/'), -1).toUtf8().leftJustified(46)
            + (faulty.contains(use.script) ? "FAULT  " : "       ")
            + "if it fails: " + seenOnFailure(plan, use).toUtf8() + '\n';
    return lines;
}

QJsonArray scriptsJson(const ModePlan &plan, const std::vector<ScriptUse> &scripts,
                       const QSet<QString> &faulty)
{
    QJsonArray array;
    for (const ScriptUse &use : scripts)
        array.append(QJsonObject {{QStringLiteral("script"), use.script},
                                  {QStringLiteral("progress"), use.progress},
                                  {QStringLiteral("message"), use.message},
                                  {QStringLiteral("faulty"), faulty.contains(use.script)},
                                  {QStringLiteral("onFailure"), seenOnFailure(plan, use)}});
    return array;
}

QJsonArray modesJson(const Findings &findings)
{
    const QSet<QString> faulty = faultyPaths(findings);
    QJsonArray array;
    for (const ModePlan &plan : modePlans())
        array.append(QJsonObject {
            {QStringLiteral("mode"), QString::fromLatin1(plan.id)},
            {QStringLiteral("scripts"), scriptsJson(plan, plan.scripts, faulty)},
            {QStringLiteral("afterRejection"), scriptsJson(plan, plan.afterRejection, faulty)}});
    return array;
}

QJsonArray findingsJson(const Findings &findings)
{
    QJsonArray array;
    for (const Finding &finding : findings.all()) {
        const KindRow &row = rowOf(finding.kind);
        QJsonObject object {{QStringLiteral("kind"), QString::fromLatin1(row.name)},
                            {QStringLiteral("fault"), row.fault},
                            {QStringLiteral("path"), finding.path},
                            {QStringLiteral("problem"), finding.problem},
                            {QStringLiteral("seen"), finding.seen}};
        if (finding.line)
            object.insert(QStringLiteral("line"), finding.line);
        array.append(object);
    }
    return array;
}

QJsonObject notListedJson(const Findings &findings)
{
    QJsonObject object;
    for (const KindRow &row : kindRows) {
        if (const int more = findings.notKept(row.kind))
            object.insert(QString::fromLatin1(row.name), more);
    }
    return object;
}

QJsonValue orNull(const QString &text) { return text.isEmpty() ? QJsonValue() : QJsonValue(text); }

} // namespace

ExitStatus exitStatus(const Report &report)
{
    if (!report.unseen.empty())
        return CouldNotLook;
    const bool found
        = report.findings.count(true) || (report.strict && report.findings.count(false));
    return found ? FoundSomething : Clean;
}

QByteArray textReport(const Report &report)
{
    QByteArray lines = findingLines(report.findings);
    for (const auto &[path, reason] : report.unseen)
        lines += "could not look at " + printable(path + QStringLiteral(": ") + reason).toUtf8()
            + '\n';
    const int faults = report.findings.count(true);
    const int notes = report.findings.count(false);
    const QString sum = faults ? numbered(faults, "fault", "faults") : QStringLiteral("no faults");
    lines += sum.toUtf8();
    if (notes)
        lines += ", " + numbered(notes, "note", "notes").toUtf8();
    if (!report.unseen.empty())
        lines += ", " + numbered(static_cast<int>(report.unseen.size()), "place", "places").toUtf8()
            + " not looked at";
    return lines + '\n';
}

QByteArray jsonReport(const Report &report)
{
    QJsonArray unseen;
    for (const auto &[path, reason] : report.unseen)
        unseen.append(
            QJsonObject {{QStringLiteral("path"), path}, {QStringLiteral("reason"), reason}});
    QJsonObject object {
        {QStringLiteral("schema"), schemaVersion},
        {QStringLiteral("version"), QString::fromLatin1(bootloaderVersion)},
        {QStringLiteral("root"), orNull(report.root)},
        {QStringLiteral("stick"), orNull(report.stick)},
        {QStringLiteral("status"), exitStatus(report)},
        {QStringLiteral("faults"), report.findings.count(true)},
        {QStringLiteral("notes"), report.findings.count(false)},
        {QStringLiteral("findings"), findingsJson(report.findings)},
        {QStringLiteral("notListed"), notListedJson(report.findings)},
        {QStringLiteral("notLookedAt"), unseen},
    };
    if (!report.root.isEmpty())
        object.insert(QStringLiteral("modes"), modesJson(report.findings));
    return printableJson(QJsonDocument(object).toJson());
}

QByteArray modesReport(const Report &report)
{
    const QSet<QString> faulty = faultyPaths(report.findings);
    QByteArray lines;
    for (const ModePlan &plan : modePlans()) {
        lines += QByteArray(plan.name) + ", ends with " + quoted(plan.succeeded).toUtf8() + '\n'
            + modeLines(plan, plan.scripts, faulty);
        if (!plan.afterRejection.empty())
            lines += "  after a rejection:\n" + modeLines(plan, plan.afterRejection, faulty);
        lines += '\n';
    }
    return lines;
}
