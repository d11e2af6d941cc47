#include "platform/MediaSupport.h"

#include <dlfcn.h>
#include <initializer_list>

namespace {

bool probe()
{
    // Loaded at run time: Quillo itself does not link GStreamer, Qt's plugin does.
    void* library = ::dlopen("libgstreamer-1.0.so.0", RTLD_LAZY | RTLD_LOCAL);
    if (!library)
        return true;
    using Init = int (*)(int*, char***, void**);
    using Find = void* (*)(const char*);
    using Unref = void (*)(void*);
    const auto init = reinterpret_cast<Init>(::dlsym(library, "gst_init_check"));
    const auto find = reinterpret_cast<Find>(::dlsym(library, "gst_element_factory_find"));
    const auto unref = reinterpret_cast<Unref>(::dlsym(library, "gst_object_unref"));
    if (!init || !find || !unref || !init(nullptr, nullptr, nullptr))
        return false;
    // The decoding and conversion elements of the base plugins that a player is made of.
    for (const char* name : {"uridecodebin", "decodebin", "audioconvert", "audioresample", "volume",
                             "videoconvert", "videoscale"}) {
        void* factory = find(name);
        if (!factory)
            return false;
        unref(factory);
    }
    // Never unloaded: GStreamer keeps threads and registries for the whole process.
    return true;
}

} // namespace

bool gstreamerPlaybackPresent()
{
    static const bool present = probe();
    return present;
}
