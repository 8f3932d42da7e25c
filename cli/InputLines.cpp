#include "InputLines.h"

#include "Errors.h"
#include "InputFile.h"
#include "Interrupt.h"

namespace Kiv::Cli
{

QByteArray InputLines::takeLine()
{
    QByteArray line;
    while (!line.endsWith('\n') && line.size() <= kMaxRowSizeBytes) {
        if (m_position == m_block.size() && !readBlock())
            break;
        const qsizetype lineEnd = m_block.indexOf('\n', m_position);
        const qsizetype end = lineEnd < 0 ? m_block.size() : lineEnd + 1;
        line.append(m_block.constData() + m_position, end - m_position);
        m_position = end;
    }
    return line;
}

bool InputLines::readBlock()
{
    constexpr qint64 kBlockSizeBytes = 65'536;
    m_block = m_device.read(kBlockSizeBytes);
    m_position = 0;
    m_readSizeBytes += m_block.size();
    // Before anybody takes half a line for the last one.
    throwIfInterrupted();
    const auto* const file = dynamic_cast<const InputFile*>(&m_device);
    if (file && !file->failure().isEmpty())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("cannot read the input: %1").arg(file->failure()));
    return !m_block.isEmpty();
}

void InputLines::checkEncoding(QByteArray& firstLine)
{
    if (firstLine.startsWith("\xff\xfe") || firstLine.startsWith("\xfe\xff"))
        throw BadLine::last(1, QStringLiteral("the file is UTF-16; convert it to UTF-8 first"));
    if (firstLine.startsWith("\xef\xbb\xbf"))
        firstLine.remove(0, 3);
}

} // namespace Kiv::Cli
