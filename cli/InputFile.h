#pragma once

// Owns the opening of what an import reads, and the waiting for it.

#include <QIODevice>
#include <QString>

namespace Kiv::Cli
{

/// A file, a pipe, or standard input for "-". Gives what is there as soon as something is there; an interrupt looks like
/// the end, so who reads asks isInterrupted() behind every read.
class InputFile : public QIODevice
{
public:
    /// \throws CommandError
    explicit InputFile(const QString& name);
    ~InputFile() override;

    bool isSequential() const override { return true; }

    /// What the system said when a read failed; empty when none did.
    const QString& failure() const { return m_failure; }

protected:
    qint64 readData(char* data, qint64 maxSizeBytes) override;
    qint64 writeData(const char* data, qint64 sizeBytes) override;

private:
    int m_file = -1;
    bool m_isOwn = true;
    QString m_failure;
};

} // namespace Kiv::Cli
