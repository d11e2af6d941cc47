#pragma once

#include "operations/StagingJournal.h"

// What becomes of one entry of a killed process's staging journal.
namespace StagingRecovery {

// A partial copy is removed; a move whose copy was complete is finished (its source
// removed only when the destination is that very copy); a replacement interrupted
// before its end is completed when the old item is gone, else undone. Only hidden
// items named ".quillo-…" are ever removed. Adds what it did to `report`.
void settle(const StagingJournal::Entry& entry, StagingJournal::Report& report);

} // namespace StagingRecovery
