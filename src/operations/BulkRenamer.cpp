#include "operations/BulkRenamer.h"

#include "core/PathText.h"
#include "platform/FileCopier.h"

#include <QUuid>
#include <QtDebug>
#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>

namespace fs = std::filesystem;
using Plan = RenameJournal::Plan;

namespace BulkRenamer {

namespace {

struct PhaseFailure {
    Error error;
    size_t index = 0;
};

// "/a/b" with no empty, "." or ".." component: most paths, which then need no copy.
bool isStandardAbsolute(std::string_view path)
{
    if (path.size() < 2 || path.front() != '/' || path.back() == '/')
        return false;
    for (size_t at = 1; at < path.size();) {
        const size_t end = std::min(path.find('/', at), path.size());
        const std::string_view part = path.substr(at, end - at);
        if (part.empty() || part == "." || part == "..")
            return false;
        at = end + 1;
    }
    return true;
}

// The journal is read by another process, from another working folder.
std::string_view absoluteText(const fs::path& path, std::string& storage)
{
    if (isStandardAbsolute(path.native()))
        return path.native();
    std::error_code error;
    const fs::path absolute = path.is_absolute() ? path : fs::absolute(path, error);
    storage = PathText::standardized(error ? path : absolute).native();
    return storage;
}

Failure failureOf(const Error& error, const fs::path& name)
{
    return Failure{error, PathText::displayName(name), true};
}

// The folder's index in the plan, added when new; items mostly share one folder.
uint32_t folderIndex(RenameJournal::Plan& plan, std::string_view folder)
{
    for (size_t i = plan.folders.size(); i-- > 0;) {
        if (plan.folders[i].native() == folder)
            return uint32_t(i);
    }
    plan.folders.emplace_back(std::string(folder));
    return uint32_t(plan.folders.size() - 1);
}

// One step per pair whose names differ, each with the item's identity, every
// temporary name sharing one fresh UUID. Names are cut from the path text: a path
// object is split into components whenever one is made, which for 10,000 items
// would cost more than the renames.
std::expected<Plan, Failure> makePlan(const std::vector<Pair>& pairs,
                                      const std::vector<FileIdentity>& identities)
{
    Plan plan;
    plan.temporaryPrefix =
        ".quillo-rename-" + QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString() + "-";
    plan.steps.reserve(pairs.size());
    std::string fromStorage, toStorage;
    for (size_t index = 0; index < pairs.size(); ++index) {
        const auto& [fromPath, toPath] = pairs[index];
        const std::string_view from = absoluteText(fromPath, fromStorage);
        const std::string_view to = absoluteText(toPath, toStorage);
        if (from == to)
            continue;
        const size_t slash = from.rfind('/');
        const std::string_view folder = from.substr(0, std::max<size_t>(slash, 1));
        if (from.size() == slash + 1 || to.size() <= slash + 1 ||
            to.substr(0, slash + 1) != from.substr(0, slash + 1) ||
            to.find('/', slash + 1) != std::string_view::npos)
            return std::unexpected(failureOf(Error::fromErrno(EINVAL, toPath), fromPath));
        const auto identity = index < identities.size()
                                  ? std::optional<FileIdentity>(identities[index])
                                  : FileCopier::identity(fromPath);
        if (!identity)
            return std::unexpected(failureOf(Error::fromErrno(ENOENT, fromPath), fromPath));
        plan.steps.push_back({folderIndex(plan, folder), std::string(from.substr(slash + 1)),
                              std::string(to.substr(slash + 1)), identity});
    }
    return plan;
}

std::optional<PhaseFailure> runPhases(const Plan& plan, std::vector<Place>& places,
                                      const std::function<void()>& betweenPhases)
{
    for (size_t i = 0; i < plan.steps.size(); ++i) {
        if (auto moved = FileCopier::renameNoReplace(plan.oldPath(i), plan.temporaryPath(i));
            !moved)
            return PhaseFailure{moved.error(), i};
        places[i] = Place::temporary;
    }
    if (betweenPhases)
        betweenPhases();
    for (size_t i = 0; i < plan.steps.size(); ++i) {
        if (auto moved = FileCopier::renameNoReplace(plan.temporaryPath(i), plan.newPath(i));
            !moved)
            return PhaseFailure{moved.error(), i};
        places[i] = Place::renamed;
    }
    return std::nullopt;
}

// Tries the preferred name, then the other one; the place the item ends at.
Place placeTemporary(const Plan& plan, size_t i, bool forward)
{
    const fs::path temporary = plan.temporaryPath(i);
    const Place first = forward ? Place::renamed : Place::old;
    const Place second = forward ? Place::old : Place::renamed;
    for (const Place place : {first, second}) {
        if (FileCopier::renameNoReplace(temporary, place == Place::renamed ? plan.newPath(i)
                                                                           : plan.oldPath(i)))
            return place;
    }
    qWarning("Cannot give %s its old or its new name", temporary.c_str());
    return Place::temporary;
}

} // namespace

std::expected<void, Failure> apply(const std::vector<Pair>& pairs, RenameJournal& journal,
                                   const std::function<void()>& betweenPhases,
                                   const std::vector<FileIdentity>& identities)
{
    const auto plan = makePlan(pairs, identities);
    if (!plan)
        return std::unexpected(plan.error());
    if (plan->steps.empty())
        return {};
    const auto id = journal.begin(*plan);
    if (!id)
        return std::unexpected(failureOf(id.error(), plan->steps.front().oldName));
    std::vector<Place> places(plan->steps.size(), Place::old);
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
    Failure failure = failureOf(failed->error, plan->steps[failed->index].oldName);
    failure.rolledBack =
        std::all_of(places.begin(), places.end(), [](Place place) { return place == Place::old; });
    return std::unexpected(failure);
}

Settled settle(const Plan& plan, std::vector<Place>& places, bool forward)
{
    const std::vector<Place> before = places;
    if (!forward) {
        // Temporary names are free again: the new names go first so that a swapped or
        // cycled item finds its old name empty.
        for (size_t i = 0; i < plan.steps.size(); ++i) {
            if (places[i] == Place::renamed &&
                FileCopier::renameNoReplace(plan.newPath(i), plan.temporaryPath(i)))
                places[i] = Place::temporary;
        }
    }
    Settled out;
    for (size_t i = 0; i < plan.steps.size(); ++i) {
        if (places[i] != Place::temporary)
            continue;
        places[i] = placeTemporary(plan, i, forward);
        if (places[i] == Place::temporary)
            out.leftAt.push_back(plan.temporaryPath(i));
    }
    for (size_t i = 0; i < plan.steps.size(); ++i) {
        if (places[i] != before[i] && places[i] == Place::renamed)
            ++out.toNew;
        if (places[i] != before[i] && places[i] == Place::old)
            ++out.toOld;
    }
    return out;
}

} // namespace BulkRenamer
