#pragma once

// Owns what becomes of the store's log lines during a command.

#include "Errors.h"

#include <QString>
#include <QtGlobal>

namespace Kiv::Cli
{

/// Receives the store's log lines while it lives: errors and warnings go to stderr at once, lines that come
/// once per value do not. There is one at a time; the program logs from one thread only.
class LibraryLog
{
public:
    LibraryLog();
    ~LibraryLog();

    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;

    /// \return true when an error line came since the start
    bool hasErrors() const { return m_errorCount > 0; }

    /// Writes one line about what was only counted and nobody else reports.
    void printSummary() const;

private:
    void receive(unsigned char level, const QString& text);

    qint64 m_errorCount = 0;
    QString m_lastError; ///< said once, however often it comes in a row
    qint64 m_notFiniteCount = 0;
};

} // namespace Kiv::Cli
