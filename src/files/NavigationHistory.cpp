#include "files/NavigationHistory.h"

namespace {

// Locations made by Location::folder are already standardized; this also covers
// ones built some other way (a default-constructed one, for instance).
Location standardized(const Location& location)
{
    return location.isFolder() ? Location::folder(location.path()) : location;
}

} // namespace

NavigationHistory::NavigationHistory(const Location& start)
    : current(standardized(start))
{
}

void NavigationHistory::visit(const Location& location)
{
    Location target = standardized(location);
    // Re-visiting keeps the forward stack, so a refresh does not lose it.
    if (target == current)
        return;
    backStack.push_back(std::move(current));
    if (backStack.size() > kLimit)
        backStack.erase(backStack.begin(), backStack.end() - std::ptrdiff_t(kLimit));
    current = std::move(target);
    forwardStack.clear();
}

std::optional<Location> NavigationHistory::goBack()
{
    if (backStack.empty())
        return std::nullopt;
    Location previous = std::move(backStack.back());
    backStack.pop_back();
    forwardStack.push_back(std::move(current));
    current = previous;
    return previous;
}

std::optional<Location> NavigationHistory::goForward()
{
    if (forwardStack.empty())
        return std::nullopt;
    Location next = std::move(forwardStack.back());
    forwardStack.pop_back();
    backStack.push_back(std::move(current));
    current = next;
    return next;
}
