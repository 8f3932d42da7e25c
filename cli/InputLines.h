#pragma once

// Owns the way from the bytes of an input to lines, and what can be wrong with them.

#include <QByteArray>
#include <QString>

#include <exception>

class QIODevice;

namespace Kiv::Cli
{

/// What is wrong with a line; the caller adds the file's name.
class BadLine : public std::exception
{
public:
    BadLine(qint64 lineNumber, QString text) : m_lineNumber(lineNumber), m_text(std::move(text)) {}

    /// After which nobody can tell where the next row begins.
    static BadLine last(qint64 lineNumber, QString text)
    {
        BadLine badLine(lineNumber, std::move(text));
        badLine.m_isLast = true;
        return badLine;
    }

    qint64 lineNumber() const { return m_lineNumber; }
    const QString& text() const { return m_text; }
    bool isLast() const { return m_isLast; }
    const char* what() const noexcept override { return "bad line"; }

private:
    qint64 m_lineNumber;
    QString m_text;
    bool m_isLast = false;
};

/// Reads ahead in blocks. Each read throws CommandError when the input cannot be read, or on an interrupt.
class InputLines
{
public:
    // More than any sensible row; what exceeds it is a missing quote, or no text file at all.
    static constexpr qint64 kMaxRowSizeBytes = 16'777'216;

    explicit InputLines(QIODevice& device) : m_device(device) {}

    /// What is read ahead and not yet taken.
    const char* begin() const { return m_block.constData() + m_position; }
    const char* end() const { return m_block.constData() + m_block.size(); }

    /// Takes what lies before a place among what is read ahead.
    void takeTo(const char* place) { m_position = place - m_block.constData(); }

    /// The next line with its end, cut off soon after the size that no row may have; empty at the end of the input.
    QByteArray takeLine();

    /// How far the input has been read.
    qint64 readSizeBytes() const { return m_readSizeBytes; }

    /// Takes a byte order mark away.
    /// \throws BadLine when the input is UTF-16
    static void checkEncoding(QByteArray& firstLine);

private:
    bool readBlock();

    QIODevice& m_device;
    QByteArray m_block;
    qsizetype m_position = 0;
    qint64 m_readSizeBytes = 0;
};

} // namespace Kiv::Cli
