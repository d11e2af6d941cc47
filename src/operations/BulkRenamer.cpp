#include "operations/BulkRenamer.h"

#include "core/PathText.h"
#include "platform/FileCopier.h"

#include <QUuid>
#include <QtDebug>
#include <algorithm>
#include <cerrno>
#include <optional>

namespace fs = std::filesystem;
using Step = RenameJournal::Step;

namespace BulkRenamer {

namespace {

struct PhaseFailure {
    Error error;
    size_t index = 0;
};

// The journal is read by another process, from another working folder.
fs::path absolutePath(const fs::path& path)
{
    std::error_code error;
    const fs::path out = path.is_absolute() ? path : fs::absolute(path, error);
    return PathText::standardized(error ? path : out);
}

bool isPlainName(const fs::path& name)
{
    return !name.empty() && name != "." && name != "..";
}

Failure failureOf(const Error& error, const fs::path& name)
{
    return Failure{error, PathText::displayName(name), true};
}

// One step per pair whose names differ, each with the item's identity, every
// temporary name sharing one fresh UUID.
std::expected<std::vector<Step>, Failure> makePlan(const std::vector<Pair>& pairs)
{
    const std::string prefix =
        ".quillo-rename-" + QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString() + "-";
    std::vector<Step> steps;
    steps.reserve(pairs.size());
    for (size_t i = 0; i < pairs.size(); ++i) {
        const fs::path from = absolutePath(pairs[i].first);
        const fs::path to = absolutePath(pairs[i].second);
        if (from == to)
            continue;
        const fs::path folder = PathText::parent(from);
        if (PathText::parent(to) != folder || !isPlainName(from.filename()) ||
            !isPlainName(to.filename()))
            return std::unexpected(failureOf(Error::fromErrno(EINVAL, to), from));
        const auto identity = FileCopier::identity(from);
        if (!identity)
            return std::unexpected(failureOf(Error::fromErrno(ENOENT, from), from));
        steps.push_back(
            {folder, from.filename(), prefix + std::to_string(i), to.filename(), identity});
    }
    return steps;
}

std::optional<PhaseFailure> runPhases(const std::vector<Step>& steps, std::vector<Place>& places,
                                      const std::function<void()>& betweenPhases)
{
    for (size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        if (auto moved = FileCopier::renameNoReplace(step.folder / step.oldName,
                                                     step.folder / step.temporaryName);
            !moved)
            return PhaseFailure{moved.error(), i};
        places[i] = Place::temporary;
    }
    if (betweenPhases)
        betweenPhases();
    for (size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        if (auto moved = FileCopier::renameNoReplace(step.folder / step.temporaryName,
                                                     step.folder / step.newName);
            !moved)
            return PhaseFailure{moved.error(), i};
        places[i] = Place::renamed;
    }
    return std::nullopt;
}

// Tries the preferred name, then the other one; the place the item ends at.
Place placeTemporary(const Step& step, bool forward)
{
    const fs::path temporary = step.folder / step.temporaryName;
    const Place first = forward ? Place::renamed : Place::old;
    const Place second = forward ? Place::old : Place::renamed;
    for (const Place place : {first, second}) {
        const fs::path& name = place == Place::renamed ? step.newName : step.oldName;
        if (FileCopier::renameNoReplace(temporary, step.folder / name))
            return place;
    }
    qWarning("Cannot give %s its old or its new name", temporary.c_str());
    return Place::temporary;
}

} // namespace

std::expected<void, Failure> apply(const std::vector<Pair>& pairs, RenameJournal& journal,
                                   const std::function<void()>& betweenPhases)
{
    const auto plan = makePlan(pairs);
    if (!plan)
        return std::unexpected(plan.error());
    if (plan->empty())
        return {};
    const auto id = journal.begin(*plan);
    if (!id)
        return std::unexpected(failureOf(id.error(), plan->front().oldName));
    std::vector<Place> places(plan->size(), Place::old);
    const auto failed = runPhases(*plan, places, betweenPhases);
    // Journaling file systems keep the order of these renames and of the record's
    // removal, so a finished rename needs no folder sync before the record goes.
    if (!failed) {
        journal.finish(*id);
        return {};
    }
    const Settled settled = settle(*plan, places, false);
    if (settled.leftAt.empty())
        journal.finish(*id);
    Failure failure = failureOf(failed->error, (*plan)[failed->index].oldName);
    failure.rolledBack =
        std::all_of(places.begin(), places.end(), [](Place place) { return place == Place::old; });
    return std::unexpected(failure);
}

Settled settle(const std::vector<Step>& steps, std::vector<Place>& places, bool forward)
{
    const std::vector<Place> before = places;
    if (!forward) {
        // Temporary names are free again: the new names go first so that a swapped or
        // cycled item finds its old name empty.
        for (size_t i = 0; i < steps.size(); ++i) {
            const Step& step = steps[i];
            if (places[i] == Place::renamed &&
                FileCopier::renameNoReplace(step.folder / step.newName,
                                            step.folder / step.temporaryName))
                places[i] = Place::temporary;
        }
    }
    Settled out;
    for (size_t i = 0; i < steps.size(); ++i) {
        if (places[i] != Place::temporary)
            continue;
        places[i] = placeTemporary(steps[i], forward);
        if (places[i] == Place::temporary)
            out.leftAt.push_back(steps[i].folder / steps[i].temporaryName);
    }
    for (size_t i = 0; i < steps.size(); ++i) {
        if (places[i] != before[i] && places[i] == Place::renamed)
            ++out.toNew;
        if (places[i] != before[i] && places[i] == Place::old)
            ++out.toOld;
    }
    return out;
}

} // namespace BulkRenamer
