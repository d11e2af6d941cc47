#pragma once

#include <string>
#include <vector>

// `quillo-tool fuzzy QUERY`: reads candidate lines from standard input and prints
// "score<TAB>line" for every line the palette's matcher accepts, best first, lines of
// equal score in input order. Lines are matched on their UTF-8 decoding, with bytes
// that are not UTF-8 read as U+FFFD, and printed byte for byte as they came in.
// Returns the exit status: 0 also when nothing matches, 1 when standard input cannot be
// read or standard output written, 2 for a bad command line.
int runFuzzyCommand(const std::vector<std::string>& arguments);

// `quillo-tool romaji TEXT`: the Latin transcription that the palette searches.
int runRomajiCommand(const std::vector<std::string>& arguments);
