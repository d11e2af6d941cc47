#pragma once

#include "core/Location.h"

#include <optional>
#include <vector>

// Back/forward history of one pane. Locations are kept standardized.
struct NavigationHistory {
    static constexpr size_t kLimit = 100;

    explicit NavigationHistory(const Location& start = {});

    Location current;
    std::vector<Location> backStack;    // oldest first
    std::vector<Location> forwardStack; // most distant last

    // Records a move; visiting the current location again changes nothing.
    void visit(const Location& location);
    std::optional<Location> goBack();
    std::optional<Location> goForward();

    bool canGoBack() const { return !backStack.empty(); }
    bool canGoForward() const { return !forwardStack.empty(); }

    bool operator==(const NavigationHistory&) const = default;
};
