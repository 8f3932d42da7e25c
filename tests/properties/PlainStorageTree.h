#pragma once

// The calendar tree of one series as the model sees it: every search lists the directories afresh with QDir,
// every calendar field comes from Poco. Shares no code with the library.

#include <QString>

#include <vector>

namespace Kiv::Testing
{

/// One place in the tree, whether a file exists there or not.
struct PlainPlace {
    QString path;
    QString subDir;

    bool found() const;
    int depth() const;
    QString fileName() const;
    QString directory() const; ///< with "/" at its end
    QString varPath() const { return path + QStringLiteral(".var"); }

    /// Logs one line and is 0 when the names form no date.
    qint64 baseMs() const;
};

QString plainNameForDepth(qint64 timestampMs, int depth);

class PlainStorageTree
{
public:
    explicit PlainStorageTree(QString dir);

    PlainPlace findFile(qint64 timestampMs) const;
    PlainPlace findFirstLastFile(bool first) const;
    PlainPlace findPrevNextFile(const PlainPlace& place, bool prev) const;
    PlainPlace findNextFile(const PlainPlace& place) const { return findPrevNextFile(place, false); }
    PlainPlace findPrevFile(const PlainPlace& place) const { return findPrevNextFile(place, true); }

    const QString m_dir;

private:
    PlainPlace descend(QString directory, QString subDir, bool ascending) const;
};

} // namespace Kiv::Testing
