#include "backend/check/FileListings.h"

#include <algorithm>
#include <limits>

namespace KOZAV::Backend {

namespace {

bool isBefore(const NamedFlaw& one, const std::string& name)
{
    return one.flaw.name < name;
}

/// What is written beside a file that is whole says nothing of it.
bool isOfTheFile(const StoreFlaw& flaw)
{
    return flaw.kind != StoreFlaw::Kind::SumFileDiffers;
}

} // namespace

Status Listing::survey(DocumentStore& store)
{
    auto found = store.survey(location);
    if (!found.ok())
        return found.status();
    for (StoreFlaw& flaw : found.value())
        flaws.push_back({std::move(flaw), {}, false});
    std::sort(flaws.begin(), flaws.end(),
              [](const NamedFlaw& one, const NamedFlaw& other) { return isBefore(one, other.flaw.name); });
    return {};
}

Status Listing::open(DocumentStore& store)
{
    auto opened = store.listInPages(location);
    if (opened.ok())
        pages = std::move(opened.value());
    return opened.status();
}

Status Listing::fill()
{
    if (next < page.size() || !pages)
        return {};
    auto read = pages();
    if (!read.ok())
        return read.status();
    page = std::move(read.value());
    next = 0;
    if (page.empty())
        pages = nullptr;
    return {};
}

bool Listing::joinFlaws(const std::string& name, const FileRow& row)
{
    for (auto at = std::lower_bound(flaws.begin(), flaws.end(), name, isBefore);
         at != flaws.end() && at->flaw.name == name; ++at) {
        at->job = row.job;
        at->isNamed = isOfTheFile(at->flaw);
    }
    return hasFlaw(name);
}

bool Listing::hasFlaw(const std::string& name) const
{
    for (auto at = std::lower_bound(flaws.begin(), flaws.end(), name, isBefore);
         at != flaws.end() && at->flaw.name == name; ++at) {
        if (isOfTheFile(at->flaw))
            return true;
    }
    return false;
}

FileRows::FileRows(Database& database)
    : m_database(database)
    , m_place{QString(), std::numeric_limits<qint64>::min()}
{
}

Result<const FileRow*> FileRows::peek()
{
    if (m_at == m_page.size() && !m_atEnd) {
        if (auto read = readPage(); !read.ok())
            return read;
    }
    return m_at < m_page.size() ? &m_page[m_at] : nullptr;
}

Status FileRows::readPage()
{
    auto page = listFileRows(m_database, m_place, pageRows);
    if (!page.ok())
        return page.status();
    m_page = std::move(page.value());
    m_at = 0;
    m_atEnd = m_page.size() < static_cast<std::size_t>(pageRows);
    if (!m_page.empty())
        m_place = {m_page.back().storedName, m_page.back().id};
    return {};
}

} // namespace KOZAV::Backend
