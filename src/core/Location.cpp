#include "core/Location.h"

#include "core/PathText.h"

namespace fs = std::filesystem;

namespace {
const QString kTagPrefix = QStringLiteral("quillo-tag:///");
const fs::path kNoPath;

std::function<QString(const QUuid&)>& tagNameLookup()
{
    static std::function<QString(const QUuid&)> lookup;
    return lookup;
}
} // namespace

void Location::setTagNameLookup(std::function<QString(const QUuid&)> lookup)
{
    tagNameLookup() = std::move(lookup);
}

Location Location::folder(const fs::path& path)
{
    Location l;
    l.m_value = PathText::standardized(path);
    return l;
}

Location Location::tag(const QUuid& id)
{
    Location l;
    l.m_value = id;
    return l;
}

Location Location::fromText(const QString& text)
{
    if (text.startsWith(kTagPrefix)) {
        const QUuid id = QUuid::fromString(QStringView(text).mid(kTagPrefix.size()));
        if (!id.isNull())
            return tag(id);
    }
    return folder(PathText::fromStorableText(text));
}

const fs::path& Location::path() const
{
    if (const auto* p = std::get_if<fs::path>(&m_value))
        return *p;
    return kNoPath;
}

QUuid Location::tagId() const
{
    if (const auto* id = std::get_if<QUuid>(&m_value))
        return *id;
    return {};
}

QString Location::toText() const
{
    if (isTag())
        return kTagPrefix + tagId().toString(QUuid::WithoutBraces).toUpper();
    return PathText::toStorableText(path());
}

QString Location::displayName() const
{
    if (isTag()) {
        if (const auto& lookup = tagNameLookup())
            return lookup(tagId());
        return tagId().toString(QUuid::WithoutBraces).toUpper();
    }
    return PathText::displayName(path());
}
