#pragma once

#include <QList>
#include <QStringList>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// What `f` (a function or a member) gives for each element, in order.
template <typename Range, typename F>
auto mapped(const Range& range, F f)
{
    QList<std::decay_t<std::invoke_result_t<F, decltype(*std::begin(range))>>> out;
    for (const auto& element : range)
        out << std::invoke(f, element);
    return out;
}

template <typename Range, typename Text>
QStringList textsOf(const Range& range, Text text)
{
    QStringList texts;
    for (const auto& element : range)
        texts << std::invoke(text, element);
    return texts;
}

// The raw bytes of each path, so that a failure prints them.
inline std::vector<std::string> natives(const std::vector<std::filesystem::path>& paths)
{
    std::vector<std::string> out;
    for (const std::filesystem::path& path : paths)
        out.push_back(path.native());
    return out;
}
