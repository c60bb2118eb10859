// Pictures as they are to be seen: upright, with square pixels.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "libav.h"

struct AVFilterContext;

namespace vxrecord {

/// How a stored picture has to be changed to be seen right: made larger in one direction, then
/// mirrored along its diagonal, then its columns and its rows reversed.
struct PictureTurn {
  int width = 0;  ///< before it is turned
  int height = 0;
  bool isTransposed = false;
  bool isMirrored = false;    ///< left and right change places
  bool isUpsideDown = false;  ///< top and bottom change places
  friend bool operator==(const PictureTurn&, const PictureTurn&) = default;
};

/// The matrix of a container (nine numbers, the first, second, fourth and fifth 16.16 fixed point),
/// by its nearest quarter turn.
struct DisplayMatrix {
  std::array<std::int32_t, 9> numbers = {};
};

/// What to do with a picture of this size, whose pixels are `pixelWidth` by `pixelHeight`.
///
/// Pixels become square by making the picture wider or higher, never by taking pixels away; to an
/// even size, as halves of colour samples do not exist. Shapes that no camera makes (more than 8
/// to 1) and sizes beyond 16384 count as a mistake of the file and are left alone.
PictureTurn turnFor(int width, int height, int pixelWidth, int pixelHeight,
                    const std::optional<DisplayMatrix>& matrix);

/// Turns pictures; those that are right already pass as they are.
class UprightPictures {
 public:
  /// `pixelWidth` and `pixelHeight` are those of the picture; 0 for unknown.
  /// Errors: throws std::runtime_error for a picture that cannot be converted.
  LibavPointer<AVFrame> turned(LibavPointer<AVFrame> picture, int pixelWidth, int pixelHeight,
                               const std::optional<DisplayMatrix>& matrix);

 private:
  struct Key {
    int width = 0;
    int height = 0;
    int format = -1;
    PictureTurn turn;
    friend bool operator==(const Key&, const Key&) = default;
  };
  void prepare(const Key& key);

  LibavPointer<AVFilterGraph> _graph;
  AVFilterContext* _source = nullptr;  // owned by the graph
  AVFilterContext* _sink = nullptr;
  Key _key;
};

}  // namespace vxrecord
