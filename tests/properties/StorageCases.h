#pragma once

// Owns the random sequences of operations that a series and its model go through: making one from a seed, and
// writing one out so that a failure can be read and repeated.

#include "properties/RandomBatch.h"

#include <string>

namespace Kiv::Testing
{

struct StorageStep {
    enum class Kind {
        Write,
        Read,
        First,
        Last,
        Find,
        FindPrevious,
        Count,
        Adjust,
        Delete,
        DeleteEverywhere,
        TearTail,    ///< bytes of half a record behind the last one
        EmptyFile,   ///< a record file without bytes
        DropVar,     ///< the ".var" file is lost
        TruncateVar, ///< its end is lost
        CorruptVar,  ///< some of its bytes are others
        BlockVar,    ///< a directory or a pipe stands in its place
        StrayEntry,  ///< a file or directory that no series has
        PlaceFile,   ///< a file with given bytes at a given place
    };

    Kind kind = Kind::Write;
    qint64 advanceUs = 0; ///< the clock before the step
    Records records;
    bool noteLate = false;
    bool keepOverwritten = false;
    qint64 from = 0;
    qint64 to = 0;
    int limit = 0;
    QString marker;
    bool askIntervals = false;
    int stores = 7;     ///< bits: the series, "P", "O"
    qint64 pick = 0;    ///< which file or directory
    qint64 amount = 0;  ///< how many bytes, or which stray entry
    QByteArray garbage; ///< what is written there
    QString place;      ///< of a placed file below the series directory
};

struct StorageCase {
    quint64 seed = 0;
    ValueType valueType{};
    int maxFileSize = 0;
    qint64 nowUs = 0;
    std::vector<StorageStep> steps;
};

enum class StorageCaseKind {
    Writing,  ///< batches only
    Queries,  ///< batches, questions and deletions
    OddFiles, ///< the same on series with damaged or foreign files
};

StorageCase makeStorageCase(quint64 seed, const ValueType& valueType, StorageCaseKind kind);
StorageCase makeStorageCase(Dice& dice, const ValueType& valueType, StorageCaseKind kind);

std::string describe(const StorageStep& step);
std::string describe(const StorageCase& storageCase);

/// Type, content and nullness of a value; equal for equal values only.
QString exactText(const QVariant& value);
QString exactText(const Record& record);

} // namespace Kiv::Testing
