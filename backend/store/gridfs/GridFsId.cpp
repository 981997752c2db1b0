#include "backend/store/gridfs/GridFsId.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

bson_value_t null()
{
    bson_value_t value = {};
    value.value_type = BSON_TYPE_NULL;
    return value;
}

} // namespace

GridFsId GridFsId::fresh()
{
    bson_value_t value = {};
    value.value_type = BSON_TYPE_OID;
    bson_oid_init(&value.value.v_oid, nullptr);
    return GridFsId(value);
}

GridFsId::GridFsId(const bson_value_t& value)
    : m_value()
{
    bson_value_copy(&value, &m_value);
}

GridFsId::GridFsId(const GridFsId& other)
    : GridFsId(other.m_value)
{
}

GridFsId::GridFsId(GridFsId&& other) noexcept
    : m_value(std::exchange(other.m_value, null()))
{
}

GridFsId& GridFsId::operator=(GridFsId&& other) noexcept
{
    std::swap(m_value, other.m_value);
    return *this;
}

GridFsId::~GridFsId()
{
    bson_value_destroy(&m_value);
}

} // namespace KOZAV::Backend
