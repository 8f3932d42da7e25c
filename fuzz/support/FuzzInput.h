#pragma once

// Owns what the fuzz targets share: the way they cut an input into parts, and the way they report a finding.

#include "properties/EngineCases.h"
#include "properties/StorageCases.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <string>

namespace Kiv::Testing
{

/// The bytes of one input. Its first lines say what is done, the rest is what it is done with, so that inputs
/// can be written and read as text.
class FuzzInput
{
public:
    FuzzInput(const std::uint8_t* bytes, std::size_t sizeBytes);

    /// The next line without its end; the rest when there is no end of line.
    QByteArray takeLine();
    /// The next line as dice.
    Dice takeDice();
    QByteArray takeRest();
    bool isAtEnd() const { return m_position == m_bytes.size(); }

private:
    QByteArray m_bytes;
    qsizetype m_position = 0;
};

/// Ends the program with a message when there is one: the input is a finding.
void expectNone(const std::string& difference, const std::string& whatWasDone);

/// Takes a pair of series through a case and ends the program at the first difference.
void expectSameAsModel(const StorageCase& storageCase);
/// The same for the engine.
void expectSameAsModel(const EngineCase& engineCase);

/// A time near one of the given ones, or one of the three symbols.
qint64 timeNear(Dice& dice, const std::vector<qint64>& timesMs);

/// Every question and change that a series knows, with times near the given ones: asking first, then writing
/// and deleting.
std::vector<StorageStep> questionsAndChanges(Dice& dice, QMetaType::Type type,
                                             const std::vector<qint64>& timesMs);

StorageStep placeFile(const QString& place, const QByteArray& bytes);

} // namespace Kiv::Testing

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes);
