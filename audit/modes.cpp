#include "audit/modes.h"

#include "audit/findings.h"
#include "update/stepcatalogue.h"

#include <QStringList>

#include <iterator>

namespace {

struct ModeName
{
    UpdateMode mode;
    const char *name;
    const char *id;
};

constexpr ModeName modeNames[] = {
    {UsbUpdate, "USB update", "usb"},
    {UsbUpdateKeepingSettings, "USB update, settings kept", "usb-settings-kept"},
    {NetworkUpdate, "network update", "network"},
    {BlankBoardRebuild, "rebuild of a blank board", "blank-board"},
};

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

QString rejectionTitle(int stage)
{
    for (const MarkerCheck &check : verifyChecks) {
        if (check.stage == stage)
            return text(check.title);
    }
    return {};
}

/// Adds the scripts of @p step; what is made of their result is made of the last one's.
void addStep(std::vector<ScriptUse> &scripts, Step step, Verdict verdict, int verifyStage = 0)
{
    const std::size_t before = scripts.size();
    for (const StepRow &row : stepCatalogue) {
        if (row.step == step)
            scripts.push_back(
                {text(row.script), row.progress, text(row.message), Verdict::None, {}});
    }
    if (scripts.size() == before)
        return;
    scripts.back().verdict = verdict;
    scripts.back().rejection = rejectionTitle(verifyStage);
}

ModePlan planOf(const ModeName &mode)
{
    const UpdateSequence &sequence = updateSequence(mode.mode);
    ModePlan plan = {mode.name,
                     mode.id,
                     {},
                     {},
                     text(sequence.succeeded.message),
                     text(sequence.failed.message)};
    addStep(plan.scripts, Step::CheckFilesystem, Verdict::Aborts);
    for (const SequenceRow &row : sequence.rows)
        addStep(plan.scripts, row.step, row.verifyStage ? Verdict::Rejects : Verdict::None,
                row.verifyStage);
    plan.scripts.push_back(
        {text(sequence.succeeded.script), 100, plan.succeeded, Verdict::Reboots, {}});
    if (sequence.cleansUp) {
        addStep(plan.afterRejection, Step::FailedCleanup, Verdict::CleansUp);
        plan.afterRejection.push_back(
            {text(sequence.failed.script), 100, plan.failed, Verdict::Reboots, {}});
    }
    return plan;
}

/// "a", "b" or "c", each once.
QString choice(QStringList texts)
{
    texts.removeDuplicates();
    for (QString &entry : texts)
        entry = quoted(entry);
    const QString last = texts.takeLast();
    return texts.isEmpty() ? last
                           : texts.join(QStringLiteral(", ")) + QStringLiteral(" or ") + last;
}

QString announced(const ScriptUse &use)
{
    return quoted(use.message) + QStringLiteral(" at ") + QString::number(use.progress)
        + QStringLiteral(" %");
}

/// What is seen when @p use does not do its work, over all modes that run it.
QString seenAltogether(const ScriptUse &use, const QStringList &succeeded,
                       const QStringList &failed)
{
    switch (use.verdict) {
    case Verdict::Aborts:
        return announced(use) + QStringLiteral(", then nothing is installed: straight to ")
            + choice(failed);
    case Verdict::Rejects:
        return announced(use) + QStringLiteral(" lets every update pass unchecked, up to ")
            + choice(succeeded);
    case Verdict::CleansUp:
        return announced(use) + QStringLiteral(" passes and nothing is cleaned up before ")
            + choice(failed);
    case Verdict::Reboots:
        return choice(succeeded + failed)
            + QStringLiteral(" stays on the screen: the instrument does not restart");
    case Verdict::None:
        break;
    }
    return announced(use) + QStringLiteral(" passes as if done, up to ") + choice(succeeded);
}

} // namespace

const std::vector<ModePlan> &modePlans()
{
    static const std::vector<ModePlan> plans = [] {
        std::vector<ModePlan> all;
        for (const ModeName &mode : modeNames)
            all.push_back(planOf(mode));
        return all;
    }();
    return plans;
}

QString seenOnFailure(const ModePlan &plan, const ScriptUse &use)
{
    switch (use.verdict) {
    case Verdict::Aborts:
        return QStringLiteral("any code but 0: straight to ") + quoted(plan.failed);
    case Verdict::Rejects:
        return QStringLiteral("by its code nothing; by the marker ") + quoted(use.rejection)
            + (plan.afterRejection.empty()
                   ? QStringLiteral(", and the update stops")
                   : QStringLiteral(", clean-up and ") + quoted(plan.failed));
    case Verdict::Reboots:
        return QStringLiteral("this message stays");
    case Verdict::CleansUp:
    case Verdict::None:
        break;
    }
    return QStringLiteral("nothing, the next one runs");
}

QString seenIfNotStarted(const QString &script)
{
    const ScriptUse *found = nullptr;
    QStringList succeeded;
    QStringList failed;
    for (const ModePlan &plan : modePlans()) {
        for (const auto *scripts : {&plan.scripts, &plan.afterRejection}) {
            for (const ScriptUse &use : *scripts) {
                if (use.script != script)
                    continue;
                found = &use;
                succeeded << plan.succeeded;
                failed << plan.failed;
            }
        }
    }
    return found ? seenAltogether(*found, succeeded, failed) : QString();
}
