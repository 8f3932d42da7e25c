#pragma once

// Owns what waits to go to stdout.

#include <QByteArrayView>

#include <memory>

namespace Kiv::Cli
{

/// Collects bytes and hands them to stdout in large pieces. What is left goes there at the end of its life, also
/// when an error ends the command. What throws CommandError does so on an interrupt, too.
class OutputBuffer
{
public:
    /// Most bytes that can be asked room for.
    static constexpr std::size_t kMaxRoom = 4096;

    OutputBuffer();
    ~OutputBuffer();

    OutputBuffer(const OutputBuffer&) = delete;
    OutputBuffer& operator=(const OutputBuffer&) = delete;

    /// \throws CommandError when stdout does not take everything
    void put(QByteArrayView bytes);

    /// Room for kMaxRoom bytes, of which commit() takes those that were filled.
    /// \throws CommandError when stdout does not take everything
    char* room();
    void commit(const char* end);

    /// Sends everything on its way.
    /// \throws CommandError when stdout does not take everything
    void flush();

private:
    bool send();
    void sendOrThrow();

    std::unique_ptr<char[]> m_bytes;
    std::size_t m_sizeBytes = 0;
};

} // namespace Kiv::Cli
