#pragma once

// Owns the running of the page's requests: what the library answers, as cells of the page.

#include "EnginePage.h"

#include "TSFileStorage.h"

#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <map>
#include <memory>

namespace Kiv::Testing
{

/// Answers every request of the page but those for series.
class EngineAnswers
{
public:
    explicit EngineAnswers(EnginePage page);
    ~EngineAnswers();

    /// The rows that the table should have. The first cells of rows that stand for something asked are taken
    /// from the table.
    /// \throws std::runtime_error for a request that makes no sense
    Rows rowsFor(const PageTable& table);

private:
    Rows labelRows(const PageTable& table);
    Rows requestRows(const PageTable& table);
    Rows countRows(const PageTable& table);
    Rows previousRows(const PageTable& table);
    Rows methodRows(const PageTable& table);
    Rows alignRows(const PageTable& table);
    Rows stepRows(const PageTable& table, int direction);
    Rows wrapLimitRows();

    Records read(const Words& words);
    qint64 count(const Words& words);
    TSFileStorage& storageFor(const Words& words);

    EnginePage m_page;
    SeriesDirectory m_directory;
    SeamsForTest m_seams;
    LogCapture m_log; ///< keeps the lines about results that are no number out of the output
    QByteArray m_zoneBefore;
    std::map<QString, std::unique_ptr<TSFileStorage>> m_storages;
};

} // namespace Kiv::Testing
