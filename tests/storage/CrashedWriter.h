#pragma once

// Owns the fixture of tests that cut an operation off: at every call that changes a file, or at every byte.

#include "storage/StorageTest.h"
#include "support/FaultsForTest.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>

namespace Kiv::Testing
{

/// A series with a life of one crash.
class CrashedWriter : public testing::Test
{
protected:
    using Change = std::function<void(TSFileStorage&)>;
    using Check = std::function<void(const Records& found)>;

    SeamsForTest seams;
    LogCapture log;
    std::unique_ptr<SeriesDirectory> directory;
    std::unique_ptr<TSFileStorage> storage;

    void prepare(QMetaType::Type type, const Records& before, int maxFileSize = kNoSizeLimit)
    {
        directory = std::make_unique<SeriesDirectory>();
        storage = std::make_unique<TSFileStorage>(directory->base(), type, kNoSizeLimit);
        ASSERT_TRUE(storage->writeDataRecords(before, false, false));
        storage = std::make_unique<TSFileStorage>(directory->base(), type, maxFileSize);
    }

    Records found() { return readRaw(*storage, utc(1990), utc(2090)); }
    Texts foundTexts() { return textsOf(found()); }

    static QVariant valueOf(QMetaType::Type type, int number)
    {
        return type == QMetaType::Double ? QVariant(number + 0.5)
                                         : QVariant(QStringLiteral("v%1").arg(number));
    }

    static Records series(QMetaType::Type type, qint64 startMs, int count, qint64 stepMs = 10)
    {
        Records records;
        for (int number = 0; number < count; ++number)
            records.emplace_back(startMs + number * stepMs, valueOf(type, number));
        return records;
    }

    /// Runs the change once for every call at which it can be cut off.
    void crashAtEveryCall(const std::function<void()>& prepareAll, const Change& change, const Check& check)
    {
        for (int number = 1;; ++number) {
            ASSERT_NO_FATAL_FAILURE(prepareAll());
            FaultsForTest faults;
            faults.failCall(number, FaultsForTest::Failure::Crash);
            change(*storage);
            if (!faults.hasFailed) {
                EXPECT_GT(number, 1);
                return;
            }
            SCOPED_TRACE("call " + std::to_string(number));
            faults.noFaults();
            ASSERT_NO_FATAL_FAILURE(check(found()));
        }
    }

    /// The same for every byte that it writes.
    void crashAtEveryByte(const std::function<void()>& prepareAll, const Change& change, const Check& check)
    {
        for (qint64 bytes = 0;; ++bytes) {
            ASSERT_NO_FATAL_FAILURE(prepareAll());
            FaultsForTest faults;
            faults.crashAfterBytes(bytes);
            change(*storage);
            if (!faults.hasFailed) {
                EXPECT_GT(bytes, 1);
                return;
            }
            SCOPED_TRACE("byte " + std::to_string(bytes));
            faults.noFaults();
            ASSERT_NO_FATAL_FAILURE(check(found()));
        }
    }
};

inline Records joined(Records first, const Records& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// Those of `texts` that are not in `all`.
inline Texts strangers(const Texts& texts, const Texts& all)
{
    Texts result;
    std::copy_if(texts.begin(), texts.end(), std::back_inserter(result), [&](const std::string& text) {
        return std::find(all.begin(), all.end(), text) == all.end();
    });
    return result;
}

inline Texts missing(const Texts& texts, const Texts& all)
{
    return strangers(all, texts);
}

} // namespace Kiv::Testing
