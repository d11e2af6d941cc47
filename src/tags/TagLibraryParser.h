#pragma once

#include "tags/TagLibraryFile.h"

#include <QByteArray>

// Reads tags.json straight into a TagLibrary in one pass over the bytes, without
// building a JSON tree first: a library of 50,000 items must load while the
// window opens. Accepts any valid JSON document; keys it does not know are
// skipped. A field it cannot use (a tag id, a bookmark) is left out alone, a record
// only when no path or tag id is left; either is reported as damage.
namespace TagLibraryParser {

TagLibraryFile::Reading parse(QByteArrayView json);

} // namespace TagLibraryParser
