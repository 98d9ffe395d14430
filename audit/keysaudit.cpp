#include "audit/audit.h"
#include "audit/scriptfile.h"
#include "audit/textfile.h"

#include <QByteArrayList>

#include <algorithm>

// What signature.sh of the instrument's scripts goes by. The program knows nothing of keys.

namespace {

const auto keysPath = QStringLiteral("/etc/update/keys");
const auto verifier = QStringLiteral("/etc/update/signature.sh");

const auto takesAnything
    = QStringLiteral("no signature is verified: whoever has a stick can install anything");
const auto rejectsAll = QStringLiteral("every update is rejected as signed by an unknown key");

/// What the scripts need to verify with, found as a shell finds it.
struct Tool
{
    const char *name;
    const char *seen; ///< When it is missing.
};

constexpr Tool verifiersTools[] = {
    {"minisign", "every update is rejected: nothing can verify its signature"},
    {"unzip", "every downloaded update is rejected as damaged"},
};

/// The second line of a file of minisign's, decoded; the first one is a comment.
QByteArray keyIn(const QByteArray &content)
{
    QByteArray line = content.split('\n').value(1);
    while (line.endsWith('\r'))
        line.chop(1);
    const auto decoded
        = QByteArray::fromBase64Encoding(line, QByteArray::AbortOnBase64DecodingErrors);
    return decoded ? *decoded : QByteArray();
}

/// "Ed", eight bytes of its number and 32 of the key.
bool isPublicKey(const QByteArray &key) { return key.size() == 42 && key.startsWith("Ed"); }

/// "Ed", how the key is protected by its password if at all, "B2", and the rest.
bool isSecretKey(const QByteArray &key)
{
    return key.size() > 100 && key.startsWith("Ed") && key.mid(4, 2) == "B2";
}

/// What a shell's "*.pub" stands for.
bool isNamedAsKey(const QByteArray &name) { return name.endsWith(".pub") && !name.startsWith('.'); }

class KeysAudit
{
public:
    KeysAudit(Tree &instrument, Findings &found)
        : tree(instrument)
        , findings(found)
    {
    }

    void judge(const QByteArray &name);
    void judgeNumber();

private:
    Tree &tree;
    Findings &findings;
    int named = 0;
    QByteArrayList keys; ///< Each once.
};

void KeysAudit::judge(const QByteArray &name)
{
    const QString path = keysPath + QLatin1Char('/') + QString::fromUtf8(name);
    const bool isUnseen = tree.look(path).kind == Entry::Unknown;
    const QByteArray key = keyIn(tree.read(path, textLimit).value_or(QByteArray()));
    if (isSecretKey(key))
        findings.add(Kind::KeySecret, path, QStringLiteral("is a secret key"),
                     QStringLiteral("whoever reads it can sign updates for every instrument"));
    else if (!isNamedAsKey(name))
        findings.add(Kind::KeyIgnored, path, QStringLiteral("is not called *.pub"),
                     QStringLiteral("as a key it does not count"));
    else if (!isUnseen && !isPublicKey(key))
        findings.add(Kind::KeyDamaged, path, QStringLiteral("is no public key of minisign's"),
                     QStringLiteral("updates signed with its key are rejected"));
    named += isNamedAsKey(name) ? 1 : 0;
    if (isPublicKey(key) && isNamedAsKey(name) && !keys.contains(key))
        keys << key;
}

void KeysAudit::judgeNumber()
{
    if (named == 0)
        findings.add(Kind::KeysEmpty, keysPath, QStringLiteral("holds no key"), rejectsAll);
    else if (keys.size() == 1)
        findings.add(Kind::KeyAlone, keysPath, QStringLiteral("holds a single key"),
                     QStringLiteral("once that is lost, no update can be installed any more"));
}

void auditEachKey(Tree &tree, Findings &findings)
{
    QByteArrayList names;
    tree.list(keysPath, [&](const QByteArray &name, Entry::Kind) {
        names << name;
        return true;
    });
    std::sort(names.begin(), names.end());
    KeysAudit audit(tree, findings);
    for (const QByteArray &name : std::as_const(names))
        audit.judge(name);
    audit.judgeNumber();
}

} // namespace

void auditKeys(Tree &tree, Findings &findings)
{
    const bool verifies = tree.look(verifier).kind == Entry::File;
    const Entry keys = tree.look(keysPath);
    if (keys.kind == Entry::Unknown)
        return;
    if (keys.kind == Entry::Missing && !keys.isLink)
        return findings.add(Kind::KeysMissing, keysPath, keys.what, takesAnything);
    if (keys.kind != Entry::Directory)
        return findings.add(Kind::KeysNotADirectory, keysPath,
                            keys.kind == Entry::Missing ? keys.what
                                                        : QStringLiteral("is no directory"),
                            takesAnything);
    auditEachKey(tree, findings);
    if (!verifies)
        return findings.add(Kind::KeysUnused, keysPath,
                            QStringLiteral("is there, and no ") + verifier,
                            QStringLiteral("unless other scripts verify: ") + takesAnything);
    for (const Tool &tool : verifiersTools) {
        const QString name = QString::fromLatin1(tool.name);
        if (findProgram(tree, name).isEmpty())
            findings.add(Kind::ProgramMissing, name,
                         QStringLiteral("is in no directory of programs"),
                         QString::fromLatin1(tool.seen));
    }
}
