#pragma once

// Owns the bytes of one value in a companion file: a QVariant in the serialisation of data stream
// version 19. Pure; guards against bytes that would exhaust stack or memory.

#include <QByteArray>
#include <QVariant>

#include <optional>

namespace Kiv::Internal
{

/// Containers nested deeper than this do not decode.
inline constexpr int kMaxVarNesting = 512;

/// Version of every data stream on a storage file.
inline constexpr int kStreamVersion = 19;

QByteArray encodeVarValue(const QVariant& value);

/// \return the value that starts at the first byte; nothing when the bytes do not make a value
std::optional<QVariant> decodeVarValue(const QByteArray& bytes);

} // namespace Kiv::Internal
