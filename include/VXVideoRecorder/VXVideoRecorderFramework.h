// Everything of the library in one include, and its version.
#pragma once

#include "VXVideoRecorder/NSDictionary+extension.h"
#include "VXVideoRecorder/NSString+extension.h"
#include "VXVideoRecorder/UtilitiesTools.h"
#include "VXVideoRecorder/VXRecordingRepair.h"
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "VXVideoRecorder/VXVideoRecorderDelegate.h"

#pragma GCC visibility push(default)

/// 1.0.
extern "C" const double VXVideoRecorderFrameworkVersionNumber;
/// "@(#)PROGRAM:VXVideoRecorderFramework  PROJECT:VXVideoRecorder-1", a line feed, a zero byte.
extern "C" const unsigned char VXVideoRecorderFrameworkVersionString[];

#pragma GCC visibility pop
