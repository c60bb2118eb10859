// Foundation: values, errors and exceptions, files, threads, JSON, the bundle, regular expressions.
#pragma once

#include "VXVideoRecorder/platform/foundation/NSBundle.h"
#include "VXVideoRecorder/platform/foundation/NSError.h"
#include "VXVideoRecorder/platform/foundation/NSFileManager.h"
#include "VXVideoRecorder/platform/foundation/NSJSONSerialization.h"
#include "VXVideoRecorder/platform/foundation/NSObject.h"
#include "VXVideoRecorder/platform/foundation/NSRegularExpression.h"
#include "VXVideoRecorder/platform/foundation/NSThread.h"
