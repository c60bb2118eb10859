// The version symbols of the library.
#include "VXVideoRecorder/VXVideoRecorderFramework.h"

const double VXVideoRecorderFrameworkVersionNumber = 1.0;
const unsigned char VXVideoRecorderFrameworkVersionString[] =
    "@(#)PROGRAM:VXVideoRecorderFramework  PROJECT:VXVideoRecorder-1\n";
