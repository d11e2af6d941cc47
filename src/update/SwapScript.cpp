#include "update/SwapScript.h"

#include "core/ShellQuote.h"
#include "update/BundleLocation.h"
#include "update/RelaunchScript.h"

namespace fs = std::filesystem;

namespace {

std::string quoted(const fs::path& path)
{
    return ShellQuote::quote(path.native());
}

} // namespace

namespace SwapScript {

std::vector<Step> steps(const Swap& swap)
{
    const std::string installed = quoted(swap.installed);
    const std::string previous = quoted(BundleLocation::previousOf(swap.installed));
    const std::string staged = quoted(swap.staged);
    // One atomic exchange through the new bundle's own tool: both names exist at every
    // moment, the new bundle installed, the old one under the staged name.
    std::string exchange = "swapped=0\n" + quoted(swap.staged / "bin" / "quillo-tool") +
                           " exchange -- " + installed + " " + staged +
                           " 2>/dev/null && swapped=1\n";
    // Where the file system cannot exchange: two renames through ".previous". A
    // ".previous" left by an update killed between them (the bundle since put back by
    // hand) would make the first rename fail; it goes, but only when a bundle.
    std::string setAside = "moved=0\nif [ \"$swapped\" = 0 ]; then\n    if [ -d " + installed +
                           " ] && [ -f " + previous + "/VERSION ]; then rm -rf -- " + previous +
                           "; fi\n    mv -T -- " + installed + " " + previous + " && moved=1\nfi\n";
    // The previous bundle leaves under the staged name, now free, so that a kill while
    // it is being removed leaves no half-removed ".previous" to block the next update.
    std::string moveIn = "if [ \"$moved\" = 1 ]; then\n    if mv -T -- " + staged + " " +
                         installed + "; then mv -T -- " + previous + " " + staged +
                         "; else mv -T -- " + previous + " " + installed + "; fi\nfi\n";
    // The debugging switch applies to one run only.
    std::string launch =
        RelaunchScript::launch(swap.installed / "bin" / "quillo", {"QUILLO_DEBUG_STEPS"});
    std::string cleanUp = "rm -rf -- " + staged + " " + quoted(swap.workFolder) + "\n";
    return {{"wait", RelaunchScript::waitForExit(swap.pid)},
            {"exchange", std::move(exchange)},
            {"setAside", std::move(setAside)},
            {"moveIn", std::move(moveIn)},
            {"launch", std::move(launch)},
            {"cleanUp", std::move(cleanUp)}};
}

std::string script(const Swap& swap)
{
    std::string text;
    for (const Step& step : steps(swap))
        text += step.text;
    return text + "rm -f -- \"$0\"\n";
}

} // namespace SwapScript
