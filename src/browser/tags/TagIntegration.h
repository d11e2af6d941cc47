#pragma once

class TagStore;

// Plugs the tag store into the layers below it, which know nothing of tags: the
// nodes' tag sort keys, the names of tag locations, moves made by the operation
// manager, the most used folders to look in for items moved elsewhere, and the mirror
// of tags in extended attributes. Called once at start-up (and by tests that need it).
namespace TagIntegration {

void install(TagStore& store);

} // namespace TagIntegration
