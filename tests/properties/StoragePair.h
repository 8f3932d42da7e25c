#pragma once

// Owns one series of the library and one of the model, side by side, and takes both through the same steps.

#include "TSFileStorage.h"
#include "properties/StorageCases.h"
#include "support/SeamsForTest.h"

#include <QTemporaryDir>

#include <map>
#include <string>

namespace Kiv::Testing
{

/// What one step did, as far as it can be seen from outside.
struct StepOutcome {
    QString results;
    std::vector<LogLine> lines;
    int sleptSeconds = 0;
};

class StoragePair
{
public:
    explicit StoragePair(const StorageCase& storageCase);

    /// \return the first difference between the two, empty when there is none
    std::string take(const StorageStep& step);

private:
    QString libraryRoot() const { return m_directory.path() + QStringLiteral("/library"); }
    QString modelRoot() const { return m_directory.path() + QStringLiteral("/model"); }

    void damageSeries(const StorageStep& step, const QString& root) const;
    std::string compareOutcomes(const StepOutcome& library, const StepOutcome& model) const;
    std::string compareTrees() const;

    template <typename Storage>
    StepOutcome perform(Storage& storage, const StorageStep& step);

    SeamsForTest m_seams;
    QTemporaryDir m_directory;
    TSFileStorage m_library;
    PlainStorage m_model;
    const PlainStorage m_lateWriteLog;
    const PlainStorage m_overwriteHistory;
};

/// Takes a new pair through the whole case.
/// \return the first difference with the number of its step, empty when there is none
std::string firstDifference(const StorageCase& storageCase);

/// A smaller case that still shows a difference, found by leaving out steps and records.
StorageCase shrunken(StorageCase storageCase);

/// Where the series of these tests live: in memory where that is possible.
QString temporaryPattern();

} // namespace Kiv::Testing
