// The version, as a number and as a text.
#include "VXVideoRecorder/capi.h"

uint32_t vx_version() { return VX_VERSION; }

const char* vx_version_text() { return VX_VERSION_TEXT; }
