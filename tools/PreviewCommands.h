#pragma once

#include <string>
#include <vector>

// `quillo-tool markdown FILE [--page]` and `quillo-tool csv FILE [--page]`: the
// preview's HTML fragment for the file, or with --page the whole page in the accent of
// the settings. Exit status 1 when the file cannot be read, 2 for a bad command line.
int runMarkdownCommand(const std::vector<std::string>& arguments);
int runCsvCommand(const std::vector<std::string>& arguments);

// `quillo-tool preview-kind FILE...`: "kind<TAB>viewer<TAB>FILE" per file, from the
// name alone: "none" for no preview kind, "-" for a kind without a viewer.
int runPreviewKindCommand(const std::vector<std::string>& arguments);

// The usage lines of these commands.
void printPreviewUsage();
