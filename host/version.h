// host/version.h - the runner's version.

#ifndef FENWIRE_HOST_VERSION_H
#define FENWIRE_HOST_VERSION_H

namespace fenwire {

inline constexpr char kVersion[] = "0.1.0";

}  // namespace fenwire

#endif
