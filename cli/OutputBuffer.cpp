#include "OutputBuffer.h"

#include "Errors.h"
#include "Interrupt.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace Kiv::Cli
{

namespace
{

constexpr std::size_t kCapacityBytes = 256 * 1024;

} // namespace

OutputBuffer::OutputBuffer() : m_bytes(std::make_unique_for_overwrite<char[]>(kCapacityBytes)) {}

OutputBuffer::~OutputBuffer()
{
    // Who wants to know of a failure has flushed.
    static_cast<void>(send());
}

void OutputBuffer::put(QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        if (m_sizeBytes == kCapacityBytes)
            sendOrThrow();
        const qsizetype taken = std::min(bytes.size(), static_cast<qsizetype>(kCapacityBytes - m_sizeBytes));
        std::copy_n(bytes.data(), taken, m_bytes.get() + m_sizeBytes);
        m_sizeBytes += static_cast<std::size_t>(taken);
        bytes = bytes.sliced(taken);
    }
}

char* OutputBuffer::room()
{
    if (kCapacityBytes - m_sizeBytes < kMaxRoom)
        sendOrThrow();
    return m_bytes.get() + m_sizeBytes;
}

void OutputBuffer::commit(const char* end)
{
    m_sizeBytes = static_cast<std::size_t>(end - m_bytes.get());
}

void OutputBuffer::flush()
{
    sendOrThrow();
    flushOutput();
}

void OutputBuffer::sendOrThrow()
{
    if (!send())
        throw outputError();
    throwIfInterrupted();
}

/// Leaves nothing behind, also when it fails.
bool OutputBuffer::send()
{
    const std::size_t sizeBytes = std::exchange(m_sizeBytes, 0);
    return std::fwrite(m_bytes.get(), 1, sizeBytes, stdout) == sizeBytes;
}

} // namespace Kiv::Cli
