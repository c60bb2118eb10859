// The recorder for C11, and through C for every language that can call it.
//
//   vx_recorder *recorder = NULL;
//   vx_recorder_create(NULL, &recorder);
//   vx_configuration configuration = VX_CONFIGURATION_INIT;
//   vx_recorder_get_configuration(recorder, &configuration);
//   configuration.storage_path = "/home/me/Recordings";
//   configuration.filename = "meeting.mp4";
//   vx_recorder_set_configuration(recorder, &configuration);
//   vx_frame frame = VX_FRAME_INIT;  // and its fields, for every frame
//   vx_recorder_append_frame(recorder, &frame);
//   vx_recorder_stop(recorder);
//   vx_recorder_wait_until_done(recorder, -1);
//   vx_recorder_destroy(recorder);
//
// What the calls do to a recording stands in VXVideoRecorder.h; here stands what C adds.
//
// Structs grow at their end: the first member is the size that the caller knows, set by the
// *_INIT macros. A member that the caller does not know counts as 0; one that the library does not
// know must be 0, else the call answers VX_UNSUPPORTED.
//
// Texts are UTF-8 and end with a zero byte. Null is "none", which differs from "".
//
// Thread: calls on one recorder must not overlap, whatever threads they come from, except where a
// call says otherwise. Different recorders are independent of each other.
// Errors: no C++ exception leaves a call. One that answers a negative result leaves a text for
// `vx_last_error`.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#pragma GCC visibility push(default)

#ifdef __cplusplus
extern "C" {
#endif

// ---- Version -------------------------------------------------------------------------------

#define VX_VERSION_MAJOR 1
#define VX_VERSION_MINOR 0
#define VX_VERSION_PATCH 0
/// The version of this header as one number that grows.
#define VX_VERSION (VX_VERSION_MAJOR * 10000 + VX_VERSION_MINOR * 100 + VX_VERSION_PATCH)

/// `VX_VERSION` of the library that runs. Thread: any.
uint32_t vx_version(void);
/// The same as a text, "1.0.0". It lives as long as the program. Thread: any.
const char* vx_version_text(void);

// ---- Results -------------------------------------------------------------------------------

/// 0 is what was asked for, a positive result an ordinary outcome, a negative one an error.
typedef int32_t vx_result;
enum {
  VX_OK = 0,
  VX_DROPPED = 1,            ///< the recorder had no room, or no use for it yet; recording goes on
  VX_TIMED_OUT = 2,          ///< what was waited for has not come
  VX_INVALID_ARGUMENT = -1,  ///< null where something is needed, a size or value that cannot be
  VX_UNSUPPORTED = -2,       ///< a member that this library does not know is set
  VX_WRONG_STATE = -3,       ///< not now: not started, stopped already, no audio track
  VX_OUT_OF_MEMORY = -4,     ///< there is no memory
  VX_REFUSED = -5,           ///< the writer cannot store this sample; recording goes on
  VX_FAILED = -6,            ///< the recording has failed, or its file could not be made
  VX_EXCEPTION = -7,         ///< an exception that the library did not expect
};

/// Why the last call of this thread that answered a negative result did so; "" if there was none.
/// Valid until the next such call of this thread. Thread: any.
const char* vx_last_error(void);

// ---- Creation and destruction --------------------------------------------------------------

/// One recording: one recorder makes one file.
typedef struct vx_recorder vx_recorder;

/// What the recorder tells its host. Each function may be null and gets `user_data`. None may
/// throw; one that does is as if it had returned.
typedef struct vx_callbacks {
  size_t size;
  void* user_data;
  /// One line of the log; the text is valid during the call. Level 2 is the normal level, 1 marks
  /// a failed query of the disk's space. Thread: the one that called the recorder; the line of a
  /// finished file comes on the writer's.
  void (*log)(void* user_data, const char* message, int32_t level);
  /// The file is complete (VX_OK), or as complete as a failure allowed (VX_FAILED). Comes once,
  /// after the first stop behind the first frame, also when the file could not be made; not from a
  /// recorder that was destroyed. The recorder may be asked and destroyed here, also while another
  /// thread waits for its end. Thread: the writer's.
  void (*done)(void* user_data, vx_result outcome);
} vx_callbacks;
#define VX_CALLBACKS_INIT \
  { sizeof(vx_callbacks), NULL, NULL, NULL }

/// A new recorder, which the caller owns and gives back with `vx_recorder_destroy`. `callbacks`
/// may be null and is copied.
/// Errors: VX_INVALID_ARGUMENT, VX_UNSUPPORTED, VX_OUT_OF_MEMORY; `*recorder` is then null.
vx_result vx_recorder_create(const vx_callbacks* callbacks, vx_recorder** recorder);

/// Stops the recording unless it was stopped, and gives the recorder back; null does nothing. The
/// file is completed on the writer's thread all the same, also when the program ends right now.
///
/// When this returns, no callback runs any more and none will come: what `user_data` points to may
/// go. A callback that runs on another thread is waited for; the one from within which this is
/// called is not. Apart from that it does not block.
void vx_recorder_destroy(vx_recorder* recorder);

// ---- Configuration -------------------------------------------------------------------------

/// The properties of a recorder that a host sets; VXVideoRecorder.h tells what each one means and
/// when it is read.
typedef struct vx_configuration {
  size_t size;
  const char* storage_path;      ///< the folder; null: "Ondrel Works" in the user's documents
  const char* filename;          ///< null: Display_<index>.mp4
  const char* file_name_prefix;  ///< how the quota knows this host's recordings
  const char* username;          ///< kept for the host
  uint64_t folder_limit_size;    ///< the folder's quota in megabytes of 1000000 bytes; 0: none
  uint32_t index;                ///< the display's number
  bool audio_enabled;            ///< whether the file gets an audio track
  void (*completion_handler)(void* user_data);  ///< kept for the host, never called
  void* completion_user_data;
} vx_configuration;
#define VX_CONFIGURATION_INIT \
  { sizeof(vx_configuration), NULL, NULL, NULL, NULL, 0, 0, false, NULL, NULL }

/// Reads all properties. The texts belong to the recorder; they are valid until it takes its first
/// frame, its configuration is set or it is destroyed.
vx_result vx_recorder_get_configuration(const vx_recorder* recorder,
                                        vx_configuration* configuration);
/// Sets all properties; the texts are copied. To change one, read, change and set. Not between
/// `vx_recorder_stop` and the end of the recording, when the writer's thread reads them.
vx_result vx_recorder_set_configuration(vx_recorder* recorder,
                                        const vx_configuration* configuration);

// ---- Video ---------------------------------------------------------------------------------

// Pixel formats; platform/CoreVideo.h describes their layouts.
#define VX_PIXEL_FORMAT_420 0x79343230U   ///< planes Y, Cb, Cr
#define VX_PIXEL_FORMAT_BGRA 0x42475241U  ///< 4 bytes a pixel in this order, as the next three
#define VX_PIXEL_FORMAT_ARGB 0x00000020U
#define VX_PIXEL_FORMAT_RGBA 0x52474241U
#define VX_PIXEL_FORMAT_ABGR 0x41424752U
#define VX_PIXEL_FORMAT_RGB 0x00000018U   ///< 3 bytes a pixel
#define VX_PIXEL_FORMAT_BGR 0x32344247U   ///< 3 bytes a pixel
#define VX_PIXEL_FORMAT_UYVY 0x32767579U  ///< 2 pixels in 4 bytes
#define VX_PIXEL_FORMAT_YUYV 0x79757673U  ///< 2 pixels in 4 bytes
#define VX_PIXEL_FORMAT_GRAY 0x4C303038U  ///< 1 byte a pixel

/// One picture of the display.
typedef struct vx_frame {
  size_t size;
  const void* pixels;     ///< null: a black picture; the caller's memory, read during the call only
  size_t pixels_length;   ///< bytes, at least `vx_frame_buffer_length`
  uint32_t timestamp_ms;  ///< of any clock, modulo 2^32; only differences count
  uint32_t pixel_format;  ///< one of VX_PIXEL_FORMAT_...
  uint32_t width;         ///< pixels, 1 to 65535
  uint32_t height;        ///< pixels, 1 to 65535
  uint32_t bytes_per_row;     ///< row pitch of packed formats; VX_PIXEL_FORMAT_420 ignores it
  uint32_t multi_video_type;  ///< bit 3 (value 8) of the first frame turns the file a quarter
  bool is_hw_decode;          ///< a held frame that could not be written is not offered again
} vx_frame;
#define VX_FRAME_INIT \
  { sizeof(vx_frame), NULL, 0, 0, 0, 0, 0, 0, 0, false }

/// How many bytes of `pixels` such a frame reads at most; 0 for a width or height of 0. Thread:
/// any.
size_t vx_frame_buffer_length(uint32_t pixel_format, uint32_t width, uint32_t height,
                              uint32_t bytes_per_row);

/// Takes one frame: copies its pixels once, from where they lie into the recorder's own buffer. The
/// first frame opens the file. VX_DROPPED when the writer has no room: the frame before it then
/// lasts longer; a host that is not live calls `vx_recorder_wait_for_room` before each frame.
/// Does not wait for coding or for the disk, other than for one query of the free space.
/// Errors: VX_INVALID_ARGUMENT for fewer bytes than the frame needs, a size or a format that cannot
/// be; VX_REFUSED; VX_OUT_OF_MEMORY, which costs this frame or the one before it; VX_WRONG_STATE
/// after the stop; VX_FAILED when the file could not be made (`vx_last_error` says why) or the
/// recording has failed.
vx_result vx_recorder_append_frame(vx_recorder* recorder, const vx_frame* frame);

/// Blocks until the writer has room for a frame (VX_OK, also before the first frame), or
/// `timeout_ms` have passed (VX_TIMED_OUT); a negative timeout waits without end.
/// Errors: VX_WRONG_STATE after the stop, VX_FAILED when the recording has failed.
vx_result vx_recorder_wait_for_room(vx_recorder* recorder, int32_t timeout_ms);

// ---- Audio ---------------------------------------------------------------------------------

/// Coded audio: AAC access units, or ADTS frames.
typedef struct vx_audio {
  size_t size;
  const void* data;            ///< the units, one behind the other; copied
  size_t data_length;          ///< bytes, at least 1
  const size_t* unit_lengths;  ///< bytes of each unit; null: one unit, or a run of ADTS frames
  size_t unit_count;           ///< number of `unit_lengths`
  const void* config;          ///< AudioSpecificConfig; null: made from what follows
  size_t config_length;        ///< bytes
  double sample_rate;          ///< Hz, 1000 to 1000000
  uint32_t channels;
  uint32_t object_type;      ///< MPEG-4 audio object type; 0: low complexity
  uint32_t frames_per_unit;  ///< samples a channel in one unit; 0: 1024
  int32_t timescale;         ///< ticks a second of the two times below; 0: both are not given
  int64_t time;              ///< of the first unit; time 0 is that of the first frame
  int64_t trim_at_start;     ///< what is not played of the first audio; negative: not given
} vx_audio;
#define VX_AUDIO_INIT \
  { sizeof(vx_audio), NULL, 0, NULL, 0, NULL, 0, 0.0, 0, 0, 0, 0, 0, -1 }

/// Writes audio to the audio track, at its time; a time before the end of the audio so far means
/// that end, a later one leaves a gap. Without a time of its own, audio follows the audio before
/// it. The first 0.1 s of the first audio is not played unless `trim_at_start` says what is not.
/// VX_DROPPED before the first frame was written and while the writer has no room. Does not wait
/// for the disk.
/// Errors: VX_INVALID_ARGUMENT; VX_REFUSED for bytes that are no AAC, another rate or number of
/// channels than before; VX_OUT_OF_MEMORY; VX_WRONG_STATE without an audio track and after the
/// stop; VX_FAILED.
vx_result vx_recorder_append_audio(vx_recorder* recorder, const vx_audio* audio);

// ---- Pause, stop, state --------------------------------------------------------------------

/// Marks a pause: the next frame that is taken follows at most 1000 ms of black. Thread: any, also
/// while another call on this recorder runs.
vx_result vx_recorder_pause(vx_recorder* recorder);

/// Ends the file: writes the held frame, for which there must be room as for any other, and has the
/// file completed on the writer's thread. Without a frame so far it does nothing. Does not wait for
/// coding or for the disk.
/// Errors: VX_WRONG_STATE when it was stopped before. After VX_OUT_OF_MEMORY and VX_EXCEPTION it is
/// not stopped, and may be told to again.
vx_result vx_recorder_stop(vx_recorder* recorder);

/// Blocks until the stopped recording is complete and its `done` callback has returned (VX_OK), or
/// `timeout_ms` have passed (VX_TIMED_OUT); a negative timeout waits without end.
/// Errors: VX_WRONG_STATE when nothing was recorded or it was not stopped, and from within a
/// callback; VX_FAILED when the recording failed; `vx_last_error` then says why.
vx_result vx_recorder_wait_until_done(vx_recorder* recorder, int32_t timeout_ms);

/// States of a recorder's writer.
enum {
  VX_WRITER_UNKNOWN = 0,  ///< not started
  VX_WRITER_WRITING = 1,
  VX_WRITER_COMPLETED = 2,
  VX_WRITER_FAILED = 3,
  VX_WRITER_CANCELLED = 4,
};

/// How a recording stands. The texts belong to the recorder; they are valid until its status is
/// asked for again or it is destroyed.
typedef struct vx_status {
  size_t size;
  const char* output_path;  ///< where the file lies; null before the first frame
  const char* error;        ///< why the writer failed; null when it did not
  int64_t error_code;
  int64_t first_video_frame_time_ms;  ///< of the first sample offered; -1 before it
  int32_t writer_status;              ///< one of VX_WRITER_...
  bool writing;                       ///< from the start of writing until the stop
  bool done;                          ///< the file is complete and was announced
  bool ready_for_video;               ///< there is room for a frame
  bool ready_for_audio;               ///< there is an audio track with room
  bool started_session;
  bool first_video_buffer;  ///< from the start of writing until the first frame is offered
  bool first_audio_buffer;  ///< from the start of writing until the first audio was handled
  bool is_video_rotation;   ///< whether the last frame asked for a quarter turn
} vx_status;
#define VX_STATUS_INIT                                                                        \
  {                                                                                           \
    sizeof(vx_status), NULL, NULL, 0, -1, 0, false, false, false, false, false, false, false, \
        false                                                                                 \
  }

vx_result vx_recorder_get_status(vx_recorder* recorder, vx_status* status);

// ---- The recordings folder -----------------------------------------------------------------

/// What the quota sees of a folder, and the volume that holds it.
typedef struct vx_folder_info {
  size_t size;
  uint64_t recordings;  ///< entries, at any depth, that end in ".mp4" and begin with the prefix
  uint64_t recordings_bytes;  ///< what they hold together
  uint64_t free_bytes;        ///< what this user may still write
  uint64_t volume_bytes;
} vx_folder_info;
#define VX_FOLDER_INFO_INIT \
  { sizeof(vx_folder_info), 0, 0, 0, 0 }

/// Looks at a folder of recordings. Without a prefix (null or "") there are no recordings, as for
/// the quota. Blocks on the file system, in proportion to the number of entries. Thread: any.
/// Errors: VX_FAILED for a folder that cannot be read.
vx_result vx_folder_inspect(const char* path, const char* file_name_prefix, vx_folder_info* info);

// ---- Recordings that were broken off -------------------------------------------------------

/// What a file is found to be; VXRecordingRepair.h tells more.
enum {
  VX_RECORDING_WHOLE = 0,        ///< complete
  VX_RECORDING_INTERRUPTED = 1,  ///< broken off; can be played, and a repair completes it
  VX_RECORDING_DAMAGED = 2,      ///< not what the recorder wrote any more
  VX_RECORDING_RECORDING = 3,    ///< held by a recorder that still writes it, or by a repair
  VX_RECORDING_EMPTY = 4,        ///< broken off before anything of it was stored
  VX_RECORDING_FOREIGN = 5,      ///< not a recording of this library
};

/// What is in a file. Of a recording that is not complete: what a repair would make of it.
typedef struct vx_recording_info {
  size_t size;
  int32_t state;         ///< one of VX_RECORDING_...
  bool can_be_repaired;  ///< whether a repair would change something for the better
  uint64_t size_bytes;
  int64_t duration_ms;
  uint64_t torn_bytes;     ///< at the end, being written when the recording was broken off
  uint64_t damaged_parts;  ///< parts in the middle that cannot be trusted
  uint32_t width;          ///< pixels, before the turn; 0 without pictures
  uint32_t height;
  int32_t rotation_degrees;  ///< how players turn the picture, clockwise
  uint32_t sample_rate;      ///< Hz; 0 without sound
  uint32_t channels;
  uint64_t video_samples;
  uint64_t video_key_frames;
  uint64_t audio_samples;
} vx_recording_info;
#define VX_RECORDING_INFO_INIT \
  { sizeof(vx_recording_info), 0, false, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 }

/// Reads a file and tells what it is; changes nothing. A complete recording is looked at by its
/// index, with `thoroughly` by the checksums of all it holds; every other one is read to its end.
/// Blocks on the file system. Thread: any. Errors: VX_FAILED for a file that cannot be read.
vx_result vx_recording_inspect(const char* path, bool thoroughly, vx_recording_info* info);

/// Completes a recording that was broken off, in its own file; `is_changed` (may be null) tells
/// whether there was something to do. Can be repeated when it is broken off itself. Reads the file
/// to its end and waits for the disk. Thread: any, one repair of a file at a time.
/// Errors: VX_FAILED for a file that is no recording, empty, being written or beyond repair, and
/// when it cannot be read or written. The file can then be played as before.
vx_result vx_recording_repair(const char* path, bool* is_changed);

// ---- Video encoders ------------------------------------------------------------------------

/// An encoder that this library was built with. The texts live as long as the program.
typedef struct vx_encoder {
  size_t size;
  const char* name;          ///< "x264", "h264_vaapi"
  const char* description;   ///< one line
  const char* licence_note;  ///< what those who ship a program with this encoder have to heed
  bool is_hardware;          ///< codes on a device that this machine may or may not have
} vx_encoder;
#define VX_ENCODER_INIT \
  { sizeof(vx_encoder), NULL, NULL, NULL, false }

/// The number of encoders, the preferred software encoder first. Thread: any.
size_t vx_encoder_count(void);
/// Describes one. Errors: VX_INVALID_ARGUMENT for an index outside the list. Thread: any.
vx_result vx_encoder_get(size_t index, vx_encoder* encoder);
/// Whether this machine can use the encoder: it codes one picture. Blocks for as long as that
/// takes, up to a second for hardware. Thread: any.
vx_result vx_encoder_is_usable(const char* name, bool* is_usable);
/// The encoder of recordings that are started from now on, or "auto": hardware that proves itself,
/// else software. Valid until the next call of this function on this thread; null when there is no
/// memory. Thread: any.
const char* vx_preferred_encoder(void);
/// Chooses it, for the whole process. Errors: VX_INVALID_ARGUMENT for a name that is neither "auto"
/// nor in the list, which changes nothing. Thread: any.
vx_result vx_set_preferred_encoder(const char* name);

#ifdef __cplusplus
}
#endif

#pragma GCC visibility pop
