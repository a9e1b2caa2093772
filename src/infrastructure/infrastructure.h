// infrastructure/infrastructure.h - the boundary as C++ sees it: kinds, calls and status names.

#ifndef FENWIRE_INFRASTRUCTURE_INFRASTRUCTURE_H
#define FENWIRE_INFRASTRUCTURE_INFRASTRUCTURE_H

#include "fenwire/infrastructure.h"

// Kind word of each object type, for the test that stands before every call.
template <class Object>
inline constexpr uint64_t kKindOf = 0;
template <>
inline constexpr uint64_t kKindOf<PxOperator> = PX_KIND_OPERATOR;
template <>
inline constexpr uint64_t kKindOf<PxSchema> = PX_KIND_SCHEMA;
template <>
inline constexpr uint64_t kKindOf<PxLog> = PX_KIND_LOG;
template <>
inline constexpr uint64_t kKindOf<PxColumn> = PX_KIND_COLUMN;

// Name of a status for reports, "Success" to "JumpPhase"; "Unknown Status" beyond the table.
const char *PxStatusName(PxStatus status);

#endif
