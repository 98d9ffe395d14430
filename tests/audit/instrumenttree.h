#pragma once

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

/// The tree of an instrument with which nothing is wrong, for a test to damage. All paths are the
/// instrument's own.
class InstrumentTree
{
public:
    InstrumentTree();

    QString top() const { return directory.path(); }
    QString real(const QString &path) const { return directory.path() + path; }

    void write(const QString &path, const QByteArray &content);
    void writeExecutable(const QString &path, const QByteArray &content);
    void writeFont(const QString &path, const QString &family);
    void setMode(const QString &path, unsigned mode);
    void remove(const QString &path); ///< Also a directory with all that is in it.
    void makeDirectory(const QString &path);
    void makePipe(const QString &path);
    void makeLink(const QString &path, const QByteArray &target);
    /// Lets a file be of @p size bytes, which take no room.
    void stretch(const QString &path, qint64 size);

    /// What an audit finds, each "kind path" or "kind path:line".
    QStringList findings() const;
    /// The same, each followed by ": " and what the user would see.
    QStringList seen() const;

private:
    QTemporaryDir directory;
};

/// The scripts of all updates, and those of the screens.
const QStringList &allScripts();

/// A font file that says nothing but its family.
QByteArray fontWithFamily(const QString &family);

/// A file with a public key as minisign writes it, made up of @p number.
QByteArray publicKey(char number);
