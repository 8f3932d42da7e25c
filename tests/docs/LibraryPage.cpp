// Holds docs/library.md: every snippet of the page is compiled, runs, and prints what the page says.

#include "LibrarySnippets.h"

#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <QDir>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <set>
#include <sstream>
#include <string>

namespace Kiv::Testing
{
namespace
{

/// The present of the page.
constexpr qint64 kPageNowUs = 1'716'192'000'000'000; // 2024-05-20 08:00 UTC

/// Keeps what is printed for its life.
class PrintedText
{
public:
    PrintedText() : m_former(std::cout.rdbuf(m_text.rdbuf())) {}
    ~PrintedText() { std::cout.rdbuf(m_former); }

    std::string text() const { return m_text.str(); }

private:
    std::ostringstream m_text;
    std::streambuf* m_former;
};

/// A working directory that is empty at first.
class EmptyWorkingDirectory
{
public:
    EmptyWorkingDirectory() { QDir::setCurrent(m_directory.at({})); }
    ~EmptyWorkingDirectory() { QDir::setCurrent(m_former); }

private:
    QString m_former = QDir::currentPath();
    SeriesDirectory m_directory;
};

std::string printedBy(LibrarySnippet::Run run)
{
    const PrintedText printed;
    run();
    return printed.text();
}

QString page()
{
    QFile file(QStringLiteral(KIV_PROJECT_DIR "/docs/library.md"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

TEST(LibraryPage, EverySnippetPrintsWhatThePageSays)
{
    SeamsForTest seams;
    seams.nowUs = kPageNowUs;
    const LogCapture quiet;
    std::unique_ptr<EmptyWorkingDirectory> directory;
    std::string question;
    for (const LibrarySnippet& snippet : librarySnippets()) {
        if (!directory || question != snippet.question) {
            question = snippet.question;
            directory.reset(); // the former one first: each goes back to where it began
            directory = std::make_unique<EmptyWorkingDirectory>();
            setupOfEveryQuestion()();
        }
        EXPECT_EQ(printedBy(snippet.run), snippet.output) << "docs/library.md:" << snippet.line;
    }
    qunsetenv("VELTAR_INSTALL_PATH");
}

TEST(LibraryPage, EveryQuestionIsAnsweredByASnippet)
{
    std::set<std::string> answered;
    for (const LibrarySnippet& snippet : librarySnippets())
        answered.insert(snippet.question);
    for (const QString& line : page().split(u'\n')) {
        if (line.startsWith(u"## ")) {
            EXPECT_EQ(answered.count(line.mid(3).toStdString()), 1U) << line.toStdString();
        }
    }
    EXPECT_GE(answered.size(), 15U);
}

TEST(LibraryPage, NamesEveryOperationOfASeries)
{
    const QString text = page();
    for (const char* operation :
         {"writeDataRecords", "writeDataColumns", "WriteSummary", "readDataRecords", "readDataRecordsInt",
          "readDataColumns", "TSFileColumnReader", "getFirstDataRecord", "getLastDataRecord",
          "findDataRecord", "findPrevDataRecord", "getCount", "deleteDataRecords",
          "getReadFilestorageForMarker", "loadTemplateParams", "setSink"})
        EXPECT_TRUE(text.contains(QString::fromLatin1(operation))) << operation;
}

} // namespace
} // namespace Kiv::Testing
