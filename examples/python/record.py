#!/usr/bin/env python3
"""The recorder from Python, by ctypes alone: two seconds of a grey picture that grows brighter.

usage: record.py FOLDER NAME [SOUND.aac]     (the sound as ADTS frames)
The library is found by the system, or where VXVIDEORECORDER_LIBRARY says.
"""
import ctypes
import os
import sys
from ctypes import (CFUNCTYPE, POINTER, byref, c_bool, c_char_p, c_double, c_int32, c_int64,
                    c_size_t, c_uint32, c_uint64, c_void_p)

WIDTH, HEIGHT, FRAME_MS = 320, 240, 40
PIXEL_FORMAT_BGRA = 0x42475241


class Struct(ctypes.Structure):
    """A struct of the C interface; its first member is its size."""

    def __init__(self, **members):
        super().__init__(size=ctypes.sizeof(self), **members)


Log = CFUNCTYPE(None, c_void_p, c_char_p, c_int32)
Done = CFUNCTYPE(None, c_void_p, c_int32)


class Callbacks(Struct):
    _fields_ = [("size", c_size_t), ("user_data", c_void_p), ("log", Log), ("done", Done)]


class Configuration(Struct):
    _fields_ = [("size", c_size_t), ("storage_path", c_char_p), ("filename", c_char_p),
                ("file_name_prefix", c_char_p), ("username", c_char_p),
                ("folder_limit_size", c_uint64), ("index", c_uint32), ("audio_enabled", c_bool),
                ("completion_handler", c_void_p), ("completion_user_data", c_void_p)]


class Frame(Struct):
    _fields_ = [("size", c_size_t), ("pixels", c_void_p), ("pixels_length", c_size_t),
                ("timestamp_ms", c_uint32), ("pixel_format", c_uint32), ("width", c_uint32),
                ("height", c_uint32), ("bytes_per_row", c_uint32),
                ("multi_video_type", c_uint32), ("is_hw_decode", c_bool)]


class Audio(Struct):
    _fields_ = [("size", c_size_t), ("data", c_char_p), ("data_length", c_size_t),
                ("unit_lengths", POINTER(c_size_t)), ("unit_count", c_size_t),
                ("config", c_char_p), ("config_length", c_size_t), ("sample_rate", c_double),
                ("channels", c_uint32), ("object_type", c_uint32), ("frames_per_unit", c_uint32),
                ("timescale", c_int32), ("time", c_int64), ("trim_at_start", c_int64)]


class RecorderError(Exception):
    pass


def load_library():
    library = ctypes.CDLL(os.environ.get("VXVIDEORECORDER_LIBRARY", "libVXVideoRecorder.so.1"))

    def check(result, function, arguments):
        if result < 0:
            raise RecorderError(f"{function.__name__}: {library.vx_last_error().decode()}")
        return result

    library.vx_last_error.restype = c_char_p
    library.vx_recorder_destroy.argtypes = [c_void_p]
    library.vx_recorder_destroy.restype = None
    for name, arguments in {
            "create": [POINTER(Callbacks), POINTER(c_void_p)],
            "get_configuration": [c_void_p, POINTER(Configuration)],
            "set_configuration": [c_void_p, POINTER(Configuration)],
            "append_frame": [c_void_p, POINTER(Frame)],
            "append_audio": [c_void_p, POINTER(Audio)],
            "wait_for_room": [c_void_p, c_int32],
            "wait_until_done": [c_void_p, c_int32],
            "pause": [c_void_p],
            "stop": [c_void_p]}.items():
        function = getattr(library, "vx_recorder_" + name)
        function.argtypes, function.restype, function.errcheck = arguments, c_int32, check
    return library


class Recorder:
    """One recording. Used in a `with` block, it is complete at the block's end."""

    def __init__(self, folder, name, audio=False):
        self._library = load_library()
        self._recorder = c_void_p()
        self.lines, self.outcomes = [], []
        # Kept here, or Python would drop the functions while the recorder calls them.
        self._callbacks = Callbacks(
            log=Log(lambda _, message, level: self.lines.append((level, message.decode()))),
            done=Done(lambda _, outcome: self.outcomes.append(outcome)))
        self._library.vx_recorder_create(byref(self._callbacks), byref(self._recorder))
        configuration = Configuration()
        self._library.vx_recorder_get_configuration(self._recorder, byref(configuration))
        configuration.storage_path = os.fsencode(folder)
        configuration.filename = os.fsencode(name)
        configuration.audio_enabled = audio
        self._library.vx_recorder_set_configuration(self._recorder, byref(configuration))

    def append_frame(self, pixels, timestamp_ms, width, height):
        """Takes a bytearray of blue, green, red, alpha; it is read where it lies."""
        view = (ctypes.c_char * len(pixels)).from_buffer(pixels)
        frame = Frame(pixels=ctypes.addressof(view), pixels_length=len(pixels),
                      timestamp_ms=timestamp_ms, pixel_format=PIXEL_FORMAT_BGRA, width=width,
                      height=height, bytes_per_row=width * 4)
        self._library.vx_recorder_wait_for_room(self._recorder, -1)
        self._library.vx_recorder_append_frame(self._recorder, byref(frame))

    def append_adts(self, data, sample_rate, channels):
        audio = Audio(data=data, data_length=len(data), sample_rate=sample_rate, channels=channels,
                      trim_at_start=-1)
        return self._library.vx_recorder_append_audio(self._recorder, byref(audio))

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        try:
            if kind is None:  # the stop writes the last frame, which needs room as well
                self._library.vx_recorder_wait_for_room(self._recorder, -1)
            self._library.vx_recorder_stop(self._recorder)
            if kind is None:
                self._library.vx_recorder_wait_until_done(self._recorder, -1)
        finally:
            self._library.vx_recorder_destroy(self._recorder)


def adts_frames(stream):
    """The frames of a raw AAC stream: each one's header tells its length."""
    while stream:
        length = (stream[3] & 3) << 11 | stream[4] << 3 | stream[5] >> 5
        yield stream[:length]
        stream = stream[length:]


def main(folder, name, sound=None):
    units = list(adts_frames(open(sound, "rb").read())) if sound else []
    pixels = bytearray(WIDTH * HEIGHT * 4)
    with Recorder(folder, name, audio=bool(units)) as recorder:
        for ms in range(0, 2000, FRAME_MS):
            pixels[:] = bytes([ms // 10]) * len(pixels)
            recorder.append_frame(pixels, ms, WIDTH, HEIGHT)
            # The first frame is written when the second one comes; sound before it is not taken.
            while ms and units and recorder.append_adts(units[0], 44100, 2) == 0:
                units.pop(0)
    assert recorder.outcomes == [0] and not units, (recorder.outcomes, len(units))
    print(recorder.lines[-1][1])


if __name__ == "__main__":
    main(*sys.argv[1:])
