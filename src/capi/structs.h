// The structs of the C interface across versions: the caller's may be shorter or longer than ours.
//
// A struct grows only behind its present end, never into the padding there, which callers leave as
// it was; a struct that has grown gets its first size as a constant here.
#pragma once

#include "capi/results.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

namespace vx::capi {

/// The size of the struct in the first version that had it.
template <typename Struct>
inline constexpr std::size_t kFirstSize = sizeof(Struct);

/// The size that the caller knows. Errors: VX_INVALID_ARGUMENT for null or an impossible size.
template <typename Struct>
vx_result sizeOf(const Struct* given, const char* name, std::size_t& size) {
  if (!given) {
    return fail(VX_INVALID_ARGUMENT, std::string(name) + " is null");
  }
  size = given->size;
  constexpr std::size_t kUnlikely = 65536;  // bytes; a size that was not set
  if (size < kFirstSize<Struct> || size > kUnlikely) {
    return fail(VX_INVALID_ARGUMENT, std::string(name) + " has the size " + std::to_string(size) +
                                         ": its size member must be sizeof(" + name + ")");
  }
  return VX_OK;
}

/// Copies what both sides know. Errors: VX_UNSUPPORTED when a member that only the caller knows is
/// not 0.
template <typename Struct>
vx_result read(const Struct* given, const char* name, Struct& ours) {
  std::size_t size = 0;
  if (const vx_result result = sizeOf(given, name, size); result != VX_OK) {
    return result;
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(given);
  const auto isSet = [](unsigned char byte) { return byte != 0; };
  if (size > sizeof(Struct) && std::any_of(bytes + sizeof(Struct), bytes + size, isSet)) {
    return fail(VX_UNSUPPORTED, std::string(name) + " uses members that VXVideoRecorder " +
                                    vx_version_text() + " does not know");
  }
  ours = Struct{};
  std::memcpy(&ours, given, std::min(size, sizeof(Struct)));
  ours.size = sizeof(Struct);
  return VX_OK;
}

/// Fills what both sides know, and zeros what only the caller knows.
template <typename Struct>
vx_result write(const Struct& ours, const char* name, Struct* given) {
  std::size_t size = 0;
  if (const vx_result result = sizeOf<Struct>(given, name, size); result != VX_OK) {
    return result;
  }
  std::memset(given, 0, size);
  std::memcpy(given, &ours, std::min(size, sizeof(Struct)));
  given->size = size;
  return VX_OK;
}

}  // namespace vx::capi
