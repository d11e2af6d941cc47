#pragma once

#include <string>
#include <vector>

// `quillo-tool tags PATH...`: one line per path, the path as given (escaped as
// `list` does), then a tab and the full name of each explicit tag, tab-separated,
// in the tag tree's order. Reads tags.json (QUILLO_TAGS_PATH honoured) and never
// writes it. Returns the exit status.
int runTagsCommand(const std::vector<std::string>& arguments);
