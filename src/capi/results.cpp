// Results and their texts, one text a thread.
#include "capi/results.h"

#include "VXVideoRecorder/platform/Foundation.h"

#include <new>
#include <string>

namespace vx::capi {

namespace {
thread_local std::string lastError;
}

vx_result fail(vx_result result, std::string_view text) noexcept {
  try {
    lastError = text;
  } catch (...) {
    lastError.clear();  // no memory for the reason: the result itself still tells
  }
  return result;
}

const char* lastErrorText() noexcept { return lastError.c_str(); }

vx_result failWithCurrentException() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return fail(VX_OUT_OF_MEMORY, "There is no memory");
  } catch (const NSException& exception) {
    const bool isMemory = exception.name() == NSMallocException;
    return fail(isMemory ? VX_OUT_OF_MEMORY : VX_EXCEPTION, exception.reason());
  } catch (const std::exception& exception) {
    return fail(VX_EXCEPTION, exception.what());
  } catch (...) {
    return fail(VX_EXCEPTION, "An exception without a text");
  }
}

}  // namespace vx::capi

const char* vx_last_error() { return vx::capi::lastErrorText(); }
