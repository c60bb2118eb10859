#include "upright.h"

#include <cmath>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
}

namespace vxrecord {
namespace {

constexpr int kMostPixelsASide = 16384;
constexpr int kOddestShape = 8;

void require(int result) {
  if (result < 0) {
    throw std::runtime_error("the input's pictures cannot be turned upright: " +
                             libavErrorText(result));
  }
}

/// `length` times `by` / `to`, to an even number.
int stretched(int length, int by, int to) {
  return static_cast<int>(std::lround(static_cast<double>(length) * by / to / 2)) * 2;
}

void makeSquare(PictureTurn& turn, int pixelWidth, int pixelHeight) {
  const bool isShape = pixelWidth > 0 && pixelHeight > 0 &&
                       pixelWidth / kOddestShape <= pixelHeight &&
                       pixelHeight / kOddestShape <= pixelWidth;
  if (!isShape || pixelWidth == pixelHeight) {
    return;
  }
  const bool isWide = pixelWidth > pixelHeight;
  const int width = isWide ? stretched(turn.width, pixelWidth, pixelHeight) : turn.width;
  const int height = isWide ? turn.height : stretched(turn.height, pixelHeight, pixelWidth);
  if (width <= kMostPixelsASide && height <= kMostPixelsASide) {
    turn.width = width;
    turn.height = height;
  }
}

// The matrix sends a point to (a x + c y, b x + d y), so what counts is which of the stored
// directions becomes which of the seen ones.
void makeUpright(PictureTurn& turn, const DisplayMatrix& matrix) {
  const auto& [a, b, u, c, d, v, x, y, w] = matrix.numbers;
  const auto size = [](std::int32_t number) { return std::abs(std::int64_t{number}); };
  turn.isTransposed = size(b) + size(c) > size(a) + size(d);
  turn.isMirrored = (turn.isTransposed ? c : a) < 0;
  turn.isUpsideDown = (turn.isTransposed ? b : d) < 0;
}

std::string filtersFor(const PictureTurn& turn) {
  std::string filters = "scale=w=" + std::to_string(turn.width) +
                        ":h=" + std::to_string(turn.height) +
                        ":flags=bicubic+accurate_rnd+full_chroma_int+full_chroma_inp,setsar=1";
  filters += turn.isTransposed ? ",transpose=dir=cclock_flip" : "";
  filters += turn.isMirrored ? ",hflip" : "";
  filters += turn.isUpsideDown ? ",vflip" : "";
  return filters;
}

/// The ends of a filter chain, freed with it.
class ChainEnd {
 public:
  ChainEnd(const char* label, AVFilterContext* filter) : _end(avfilter_inout_alloc()) {
    if (!_end) {
      throw std::bad_alloc();
    }
    _end->name = av_strdup(label);
    _end->filter_ctx = filter;
  }
  ~ChainEnd() { avfilter_inout_free(&_end); }
  ChainEnd(const ChainEnd&) = delete;
  ChainEnd& operator=(const ChainEnd&) = delete;
  AVFilterInOut** get() { return &_end; }

 private:
  AVFilterInOut* _end;
};

}  // namespace

PictureTurn turnFor(int width, int height, int pixelWidth, int pixelHeight,
                    const std::optional<DisplayMatrix>& matrix) {
  PictureTurn turn{width, height, false, false, false};
  makeSquare(turn, pixelWidth, pixelHeight);
  if (matrix) {
    makeUpright(turn, *matrix);
  }
  return turn;
}

void UprightPictures::prepare(const Key& key) {
  if (_graph && _key == key) {
    return;
  }
  LibavPointer<AVFilterGraph> graph(avfilter_graph_alloc());
  if (!graph) {
    throw std::bad_alloc();
  }
  _graph.reset();  // one that cannot be completed must not be taken for the one before
  const std::string source = "video_size=" + std::to_string(key.width) + "x" +
                             std::to_string(key.height) + ":pix_fmt=" + std::to_string(key.format) +
                             ":time_base=1/1000";
  require(avfilter_graph_create_filter(&_source, avfilter_get_by_name("buffer"), "in",
                                       source.c_str(), nullptr, graph.get()));
  require(avfilter_graph_create_filter(&_sink, avfilter_get_by_name("buffersink"), "out", nullptr,
                                       nullptr, graph.get()));
  // The names are seen from outside the chain: what it takes comes out of the source.
  ChainEnd outputs("in", _source);
  ChainEnd inputs("out", _sink);
  require(avfilter_graph_parse_ptr(graph.get(), filtersFor(key.turn).c_str(), inputs.get(),
                                   outputs.get(), nullptr));
  require(avfilter_graph_config(graph.get(), nullptr));
  _graph = std::move(graph);
  _key = key;
}

LibavPointer<AVFrame> UprightPictures::turned(LibavPointer<AVFrame> picture, int pixelWidth,
                                              int pixelHeight,
                                              const std::optional<DisplayMatrix>& matrix) {
  const PictureTurn turn =
      turnFor(picture->width, picture->height, pixelWidth, pixelHeight, matrix);
  if (turn == PictureTurn{picture->width, picture->height, false, false, false}) {
    return picture;
  }
  prepare({picture->width, picture->height, picture->format, turn});
  require(av_buffersrc_add_frame(_source, picture.get()));
  LibavPointer<AVFrame> result = makeFrame();
  require(av_buffersink_get_frame(_sink, result.get()));
  return result;
}

}  // namespace vxrecord
