#pragma once

#include <QtGlobal>

#include <bson/bson.h>

namespace KOZAV::Backend {

/// The "_id" of a files document. Ours are ObjectIds; those of other programs can be values of any type.
class GridFsId final
{
public:
    /// A fresh ObjectId, different from all others of all machines.
    static GridFsId fresh();

    explicit GridFsId(const bson_value_t& value);
    GridFsId(const GridFsId& other);
    GridFsId(GridFsId&& other) noexcept;
    GridFsId& operator=(const GridFsId& other) = delete;
    GridFsId& operator=(GridFsId&& other) noexcept;
    ~GridFsId();

    [[nodiscard]] const bson_value_t* get() const { return &m_value; }

private:
    bson_value_t m_value;
};

} // namespace KOZAV::Backend
