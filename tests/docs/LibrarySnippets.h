#pragma once

// Owns what the snippets of docs/library.md are to the test that runs them; their source is generated from the page.

#include <vector>

namespace Kiv::Testing
{

struct LibrarySnippet {
    using Run = void (*)();

    const char* question; ///< the "##" heading above it
    int line;             ///< of its first line in the page
    Run run;              ///< prints to std::cout
    const char* output;   ///< what the page says that it prints
};

/// In the order of the page.
std::vector<LibrarySnippet> librarySnippets();

/// Runs before the first snippet of every question.
LibrarySnippet::Run setupOfEveryQuestion();

} // namespace Kiv::Testing
