#pragma once

#include <string>
#include <vector>

// `quillo-tool copy [--progress] SRC... DESTDIR` and `move [--progress] SRC... DESTDIR`:
// each source goes into DESTDIR under its own name, through the engines the
// application uses. A name already taken is an error, never replaced. --progress
// prints "BYTES<TAB>NAME" (bytes copied so far, the file being copied) to standard
// error up to ten times a second. Ctrl+C cancels and removes the partial copy.
// Arguments are raw bytes. Each returns the exit status: 0, 1 on any failure, 2 on usage.
int runCopyCommand(const std::vector<std::string>& arguments);
int runMoveCommand(const std::vector<std::string>& arguments);

// `quillo-tool du PATH...`: "BYTES<TAB>PATH" per path (the progress target: regular
// files only, links not followed), then "BYTES<TAB>total" when more than one path.
int runDuCommand(const std::vector<std::string>& arguments);

void printTransferUsage();
