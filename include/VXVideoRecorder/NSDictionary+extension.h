// Typed, defaulting getters over loosely typed dictionaries, and dictionaries as JSON.
//
// Every getter reads through `objectForKeyPath` and answers its default for a value that is
// missing, a null marker, or of a kind that the getter does not convert. Thread: any; none blocks.
#pragma once

#include "VXVideoRecorder/platform/Foundation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#pragma GCC visibility push(default)

namespace vx {

/// The dictionary as JSON text; "{}" when the serialiser gives no data, that is for a text that is
/// not valid UTF-8 and for nesting beyond `NSJSONSerialization::kMaximumDepth`. `pretty` indents
/// over several lines.
/// Errors: values that JSON does not have (data, dates, not-a-number, infinity), at any depth, do
/// not give "{}": the serialiser raises `NSInvalidArgumentException` for them, and that passes to
/// the caller. Ask `NSJSONSerialization::isValidJSONObject` before when they may occur.
std::string jsonStringWithPrettyPrint(const NSDictionary& dictionary, bool pretty);
/// The same as UTF-8 data; absent when it cannot be written.
std::optional<NSData> jsonDataWithPrettyPrint(const NSDictionary& dictionary, bool pretty);

/// Numbers are true when not zero. Texts are true when, after white space, a sign and zeros (each
/// of which may be missing), they go on with Y, y, T, t or a digit 1 to 9. Never raises.
bool boolValueForKey(const NSDictionary& dictionary, std::string_view keyPath,
                     bool withDefault = false);
/// Numbers lose their fraction. Texts give their leading decimal number, clamped to the range; 0
/// when none begins the text.
std::int32_t intValueForKey(const NSDictionary& dictionary, std::string_view keyPath,
                            std::int32_t withDefault = 0);
/// Numbers lose their fraction.
/// Errors: raises `NSInvalidArgumentException` for a text, which has no such conversion.
std::uint32_t unsignedIntValueForKey(const NSDictionary& dictionary, std::string_view keyPath,
                                     std::uint32_t withDefault = 0);
/// Texts as they are, numbers as decimal text. The text "(null)" reads as missing.
std::string stringValueForKey(const NSDictionary& dictionary, std::string_view keyPath);
/// The same with a default of the caller's, which may be absent.
std::optional<std::string> stringValueForKey(const NSDictionary& dictionary,
                                             std::string_view keyPath,
                                             const std::optional<std::string>& withDefault);

/// The value under `keyPath`: under the whole text as one key if there is one, else walked
/// dictionary by dictionary at every "." (empty components count). Null when a step is missing, a
/// null marker, or no dictionary (arrays are not indexed), and for an empty path.
/// The value belongs to `dictionary`.
const Object* objectForKeyPath(const NSDictionary& dictionary, std::string_view keyPath);

}  // namespace vx

#pragma GCC visibility pop
