#pragma once

// Owns the line on stderr that says how far a long command is.

#include <QElapsedTimer>
#include <QString>

namespace Kiv::Cli
{

/// Shows itself only on a terminal, not with --quiet, and only when the work takes more than a second. Its line is
/// gone when it ends.
class Progress
{
public:
    /// Output that goes to the terminal itself is progress enough.
    enum class Where { Anywhere, BesideOutput };

    static bool isWanted(Where where);

    /// \param noun   what is counted: "row"
    /// \param total  of the unit in which update() tells how far the work is; 0 when nobody knows
    Progress(QString noun, qint64 total, Where where = Where::Anywhere);
    ~Progress();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// \param count  of the noun
    /// \param done   of the total
    void update(qint64 count, qint64 done);
    void update(qint64 count) { update(count, count); }

    /// Takes the line away, so that something else can be printed.
    void clear();

    double elapsedSeconds() const { return static_cast<double>(m_elapsed.nsecsElapsed()) / 1e9; }

private:
    QString lineText(qint64 count, qint64 done) const;

    QString m_noun;
    qint64 m_total;
    bool m_isWanted;
    bool m_isShown = false;
    QElapsedTimer m_elapsed;
    qint64 m_nextMs;
};

/// "1234", "56.7 k", "12.3 M"
QString shortNumber(double number);

} // namespace Kiv::Cli
