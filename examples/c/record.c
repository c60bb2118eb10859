/* The recorder from C: two seconds of a bar that moves, with a pause in the middle.
   usage: record FOLDER NAME */
#include <VXVideoRecorder/capi.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { WIDTH = 640, HEIGHT = 360, FRAME_MS = 40 };

static void print_line(void *user_data, const char *message, int32_t level) {
  (void)user_data;
  fprintf(stderr, "%d %s\n", (int)level, message);
}

static void require(vx_result result, const char *what) {
  if (result < 0) {
    fprintf(stderr, "%s: %s\n", what, vx_last_error());
    exit(1);
  }
}

/* White, with a black bar that has moved by ms / 10 pixels. */
static void draw(uint8_t *pixels, uint32_t ms) {
  memset(pixels, 0xFF, (size_t)WIDTH * HEIGHT * 4);
  for (size_t y = 0; y < HEIGHT; ++y) {
    memset(pixels + (y * WIDTH + ms / 10 % WIDTH) * 4, 0, 4 * 8);
  }
}

static void record(vx_recorder *recorder, uint8_t *pixels) {
  vx_frame frame = VX_FRAME_INIT;
  frame.pixels = pixels; /* read in place, during the call only */
  frame.pixels_length = (size_t)WIDTH * HEIGHT * 4;
  frame.pixel_format = VX_PIXEL_FORMAT_BGRA;
  frame.width = WIDTH;
  frame.height = HEIGHT;
  frame.bytes_per_row = WIDTH * 4;
  for (uint32_t ms = 0; ms < 2000; ms += FRAME_MS) {
    if (ms == 1000) {
      require(vx_recorder_pause(recorder), "pause");
    }
    draw(pixels, ms);
    frame.timestamp_ms = ms;
    /* This host is not live: it waits where a live one would drop the frame. */
    require(vx_recorder_wait_for_room(recorder, -1), "wait");
    require(vx_recorder_append_frame(recorder, &frame), "frame");
  }
  /* The stop writes the last frame, which needs room as well. */
  require(vx_recorder_wait_for_room(recorder, -1), "wait");
}

int main(int argc, char **argv) {
  vx_callbacks callbacks = VX_CALLBACKS_INIT;
  callbacks.log = print_line;
  vx_recorder *recorder = NULL;
  require(vx_recorder_create(&callbacks, &recorder), "create");

  vx_configuration configuration = VX_CONFIGURATION_INIT;
  require(vx_recorder_get_configuration(recorder, &configuration), "configuration");
  configuration.storage_path = argc > 1 ? argv[1] : ".";
  configuration.filename = argc > 2 ? argv[2] : "record.mp4";
  require(vx_recorder_set_configuration(recorder, &configuration), "configuration");

  uint8_t *pixels = malloc((size_t)WIDTH * HEIGHT * 4 + 4 * 8);
  if (pixels == NULL) {
    return 1;
  }
  record(recorder, pixels);
  free(pixels);

  require(vx_recorder_stop(recorder), "stop");
  require(vx_recorder_wait_until_done(recorder, -1), "done");
  vx_status status = VX_STATUS_INIT;
  require(vx_recorder_get_status(recorder, &status), "status");
  printf("%s\n", status.output_path);
  vx_recorder_destroy(recorder);
  return 0;
}
