#include "options.h"

namespace vxrecord {

std::string_view helpText() {
  return R"(usage: vxrecord [options] INPUT

Records INPUT into one MP4 file that can be opened at any moment, even after a crash.

INPUT
  NAME                    a file or address that FFmpeg opens; "-" is standard input
  x11:DISPLAY             a live X display such as x11::0, up to 30 frames a second
  x11:DISPLAY+X,Y,WxH     a part of it
  test:WxH@FPS            a built-in moving picture with a frame number in it
A file is recorded as fast as the recorder takes it, without loss, its frame times kept to the
millisecond. A live input runs by the clock; frames that come too fast are dropped and counted.
The last frame of a recording is shown for one millisecond, as no later frame ends it.

OPTIONS (also as --name=value; -- ends the options)
  --storage-path DIR      folder of the recording, made if missing
                          (otherwise "Ondrel Works" in your Documents folder)
  --filename NAME         name of the recording; a file of that name is replaced
                          (otherwise Display_<index>.mp4)
  --index N               the number in that default name (1)
  --file-name-prefix TEXT how --folder-limit recognises recordings
  --folder-limit MB       afterwards delete the oldest recordings beyond this size (0: none);
                          those named like this one up to its last "_" are spared
  --audio                 record the first sound of INPUT as well, as AAC; test: beeps each second
  --rotate                show the recording turned by 90 degrees
  --pixel-format CODE     how frames reach the recorder: y420 (default), BGRA, ARGB, RGBA, ABGR,
                          RGB, BGR, 2vuy, yuvs, gray
                          (y420 keeps no colour of its own for the last column of an odd width)
  --duration SECONDS      stop after this much of the input's time
  --pause-at SECONDS --pause-for SECONDS
                          leave this part out; at most one second of black stands for it
  --realtime              play a file by the clock, as if it were live
  --json                  print one JSON object with the result on standard output
  --quiet                 say nothing but errors
  --verbose               show the recorder's own log
  --version, --help

Ctrl-C (SIGINT) or SIGTERM ends the recording cleanly; a second one ends the program at once.
Exit status: 0 done, 1 recording failed, 2 wrong use or input that cannot be opened.
)";
}

}  // namespace vxrecord
