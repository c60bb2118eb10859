// What went wrong: `NSError` is returned and stored, `NSException` is raised for wrong use.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

#pragma GCC visibility push(default)

namespace vx {

inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

inline constexpr std::int64_t NSFileNoSuchFileError = 4;
inline constexpr std::int64_t NSFileReadUnknownError = 256;
inline constexpr std::int64_t NSFileReadNoPermissionError = 257;
inline constexpr std::int64_t NSFileReadNoSuchFileError = 260;
inline constexpr std::int64_t NSFileWriteUnknownError = 512;
inline constexpr std::int64_t NSFileWriteNoPermissionError = 513;
inline constexpr std::int64_t NSFileWriteFileExistsError = 516;
inline constexpr std::int64_t NSFileWriteOutOfSpaceError = 640;
inline constexpr std::int64_t NSFileWriteVolumeReadOnlyError = 642;
inline constexpr std::int64_t NSPropertyListReadCorruptError = 3840;
inline constexpr std::int64_t NSPropertyListWriteInvalidError = 3852;

/// A failure as a value: a domain, a code within it, and a text that says what a person can do.
class NSError {
 public:
  NSError(std::string_view domain, std::int64_t code, std::string localizedDescription)
      : _domain(domain), _code(code), _localizedDescription(std::move(localizedDescription)) {}

  const std::string& domain() const { return _domain; }
  std::int64_t code() const { return _code; }
  const std::string& localizedDescription() const { return _localizedDescription; }
  /// `Error Domain=<domain> Code=<code> "<localizedDescription>"`.
  std::string description() const;
  friend bool operator==(const NSError&, const NSError&) = default;

 private:
  std::string _domain;
  std::int64_t _code;
  std::string _localizedDescription;
};

inline constexpr std::string_view NSInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr std::string_view NSInternalInconsistencyException =
    "NSInternalInconsistencyException";
inline constexpr std::string_view NSRangeException = "NSRangeException";
inline constexpr std::string_view NSMallocException = "NSMallocException";

/// Raised (thrown) for wrong use only: an operation at the wrong time, or one that a value lacks.
class NSException : public std::exception {
 public:
  NSException(std::string_view name, std::string reason)
      : _name(name), _reason(std::move(reason)) {}

  const std::string& name() const { return _name; }
  const std::string& reason() const { return _reason; }
  /// The reason.
  const std::string& description() const { return _reason; }
  const char* what() const noexcept override { return _reason.c_str(); }

 private:
  std::string _name;
  std::string _reason;
};

}  // namespace vx

#pragma GCC visibility pop
