#pragma once

#include <QThreadPool>

// Pools of their own for long work. Qt's global pool has one thread per core, so a
// folder-size walk or a copy there makes every folder listing, free-space query and
// Git status wait; short work stays on the global pool, long work goes here.
namespace WorkPools {

QThreadPool& folderSizes(); // walks of whole trees
QThreadPool& transfers();   // copies, moves, trash and delete jobs
QThreadPool& fileIndex();   // the palette's file search walks
QThreadPool& archives();    // packing and unpacking
QThreadPool& previews();    // rendering documents and images

} // namespace WorkPools
