#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <map>
#include <optional>

// Looks at a directory tree that may hold anything, as the program will see it when the tree is the
// instrument's. Links are followed as they will be there, with the tree's top as "/", so none leads
// out of it. Nothing is written, run or waited for: pipes and devices are recognised, not opened.

/// What a path leads to once all links are followed.
struct Entry
{
    enum Kind {
        Missing, ///< Also a link that leads nowhere or in a circle.
        File,
        Directory,
        Special, ///< A pipe, a socket or a device.
        Unknown, ///< Could not be looked at; Tree::unseen() says why.
    };

    Kind kind = Missing;
    QString what; ///< In words, to follow the path: "does not exist", "is a pipe".
    qint64 size = 0; ///< Bytes.
    quint64 device = 0; ///< With inode what tells two entries apart.
    quint64 inode = 0;
    quint32 owner = 0; ///< The user's number.
    bool executable = false; ///< By anybody.
    bool othersWrite = false; ///< Its group may write it, or anybody.
    bool isLink = false; ///< Missing, but there is a link of that name.

    bool exists() const { return kind != Missing && kind != Unknown; }
};

/// The places that the user who audits may not look at, and why.
using UnseenPlaces = std::map<QString, QString>;

class Tree
{
public:
    enum Links {
        StayInside, ///< A link's absolute path begins at the tree's top.
        MustNotLeave, ///< A link with an absolute path, or one that climbs out, leads nowhere.
    };

    /// Returns nothing and says why in @p reason if @p directory is none that can be looked at.
    static std::optional<Tree> open(const QString &directory, Links links, QString &reason);
    Tree(Tree &&other) noexcept;
    Tree(const Tree &) = delete;
    Tree &operator=(const Tree &) = delete;
    Tree &operator=(Tree &&) = delete;
    ~Tree();

    Entry look(const QString &path);

    /// Up to @p length bytes of an ordinary file from @p offset on; nothing of anything else.
    std::optional<QByteArray> read(const QString &path, qint64 length, qint64 offset = 0);

    /// Calls @p visit with the name and the kind of each entry of a directory, links not followed
    /// (they are Missing), in no order, until it returns false. Does nothing for anything else.
    void list(const QString &path,
              const std::function<bool(const QByteArray &name, Entry::Kind kind)> &visit);

    const UnseenPlaces &unseen() const { return unseenPlaces; }

private:
    Tree(int directory, Links treatment);

    int openAt(const QString &path, int flags) const; ///< A descriptor, or -1 with errno.
    Entry notThere(const QString &path, int error);
    void noteUnseen(const QString &path, int error);

    int top; ///< Descriptor of the tree's top, -1 once moved from.
    Links links;
    UnseenPlaces unseenPlaces;
};
