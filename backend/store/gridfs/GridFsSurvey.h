#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"
#include "backend/store/gridfs/GridFsBucket.h"
#include "backend/store/gridfs/GridFsFile.h"

#include <string>
#include <vector>

namespace KOZAV::Backend {

/// One look through a location in GridFS: which files have not just the chunks that their length asks for,
/// which chunks have no file, which indexes are missing. No content is fetched.
class GridFsSurvey final
{
public:
    /// @param bucket  outlives this object
    explicit GridFsSurvey(GridFsBucket& bucket)
        : m_bucket(bucket)
    {
    }

    /// To be called once.
    Result<std::vector<StoreFlaw>> run();

private:
    struct Tally;
    using Page = std::vector<Tally>;

    Status lookAtIndexes();
    Status lookAtFiles();
    Status lookAtForeignFiles();
    Result<Page> filesAfter(const GridFsId& last);
    Status countChunks(Page& page, const GridFsId& after, const GridFsId& upTo);
    void judge(const Page& page);
    Status lookAgain();
    Status lookAgainAtFile(const GridFsId& id);
    Result<bool> isStillThere(const GridFsId& id, const Tally& tally);
    Result<bool> isEmptyChunk(const GridFsId& id, qint64 number);
    Status lookAgainAtChunks(const GridFsId& id);

    GridFsBucket& m_bucket;
    bool m_chunksIndexed = true;
    std::vector<GridFsId> m_suspectFiles;
    std::vector<GridFsId> m_suspectChunks; ///< the identifier that several chunks have, once
    std::vector<StoreFlaw> m_flaws;
};

/// Removes the chunks of an upload that ended more than a day ago without a file; the name is that of the
/// flaw. A success where there are none.
Status removeStaleChunks(GridFsBucket& bucket, const std::string& name);

} // namespace KOZAV::Backend
