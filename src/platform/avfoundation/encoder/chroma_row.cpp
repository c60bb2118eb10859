#include "platform/avfoundation/encoder/chroma_row.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vx {

namespace {

// Parts of B, G and R in units of 2^-15, for video range by ITU-R BT.601. Each sums up to 0, so
// that gray has no colour.
struct Weights {
  std::int16_t blue, green, red;
};
constexpr Weights kCb = {14392, -9535, -4857};
constexpr Weights kCr = {-2340, -12052, 14392};
static_assert(kCb.blue + kCb.green + kCb.red == 0);
static_assert(kCr.blue + kCr.green + kCr.red == 0);

constexpr int kShift = 15 + 2;  // the weights' unit, and the sum of four pixels
constexpr std::int32_t kOffset = (128 << kShift) + (1 << (kShift - 1));

constexpr int kBytesPerPixel = 4;

struct Sum {
  int blue = 0, green = 0, red = 0;
  void add(const std::uint8_t* pixel) {
    blue += pixel[0];
    green += pixel[1];
    red += pixel[2];
  }
};

std::uint8_t weighed(const Sum& sum, const Weights& weights) {
  const int value = sum.blue * weights.blue + sum.green * weights.green + sum.red * weights.red;
  return static_cast<std::uint8_t>((value + kOffset) >> kShift);
}

void portableChromaRow(const std::uint8_t* upper, const std::uint8_t* lower, int width,
                       std::uint8_t* cb, std::uint8_t* cr) {
  for (int x = 0; x < width; x += 2) {
    const int right = x + 1 < width ? kBytesPerPixel : 0;
    Sum sum;
    sum.add(upper);
    sum.add(upper + right);
    sum.add(lower);
    sum.add(lower + right);
    *cb++ = weighed(sum, kCb);
    *cr++ = weighed(sum, kCr);
    upper += 2 * kBytesPerPixel;
    lower += 2 * kBytesPerPixel;
  }
}

#if defined(__SSE2__)

constexpr int kPixelsPerStep = 16;

__m128i load(const std::uint8_t* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

// Four pixels of each row: the sums of two blocks of 2 x 2, as 16 bits per channel.
__m128i blockSums(const std::uint8_t* upper, const std::uint8_t* lower) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i a = load(upper);
  const __m128i b = load(lower);
  const __m128i left = _mm_add_epi16(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero));
  const __m128i right = _mm_add_epi16(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero));
  return _mm_add_epi16(_mm_unpacklo_epi64(left, right), _mm_unpackhi_epi64(left, right));
}

// Four blocks weighed and rounded, as 32 bits each.
__m128i weighed(__m128i first, __m128i second, __m128i weights) {
  const __m128 a = _mm_castsi128_ps(_mm_madd_epi16(first, weights));
  const __m128 b = _mm_castsi128_ps(_mm_madd_epi16(second, weights));
  const __m128i blueGreen = _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)));
  const __m128i red = _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
  const __m128i value = _mm_add_epi32(_mm_add_epi32(blueGreen, red), _mm_set1_epi32(kOffset));
  return _mm_srai_epi32(value, kShift);
}

__m128i vectorOf(const Weights& w) {
  return _mm_setr_epi16(w.blue, w.green, w.red, 0, w.blue, w.green, w.red, 0);
}

void storeEight(__m128i first, __m128i second, std::uint8_t* bytes) {
  const __m128i words = _mm_packs_epi32(first, second);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes), _mm_packus_epi16(words, words));
}

// Returns the number of pixels that were taken.
int vectorChromaRow(const std::uint8_t* upper, const std::uint8_t* lower, int width,
                    std::uint8_t* cb, std::uint8_t* cr) {
  const __m128i cbWeights = vectorOf(kCb);
  const __m128i crWeights = vectorOf(kCr);
  int x = 0;
  for (; x + kPixelsPerStep <= width; x += kPixelsPerStep) {
    __m128i sums[4];
    for (int i = 0; i < 4; ++i) {
      sums[i] = blockSums(upper + 16 * i, lower + 16 * i);
    }
    storeEight(weighed(sums[0], sums[1], cbWeights), weighed(sums[2], sums[3], cbWeights), cb);
    storeEight(weighed(sums[0], sums[1], crWeights), weighed(sums[2], sums[3], crWeights), cr);
    upper += kPixelsPerStep * kBytesPerPixel;
    lower += kPixelsPerStep * kBytesPerPixel;
    cb += kPixelsPerStep / 2;
    cr += kPixelsPerStep / 2;
  }
  return x;
}

#else

int vectorChromaRow(const std::uint8_t*, const std::uint8_t*, int, std::uint8_t*, std::uint8_t*) {
  return 0;
}

#endif

}  // namespace

void chromaRowFromBGRA(const std::uint8_t* upper, const std::uint8_t* lower, int width,
                       std::uint8_t* cb, std::uint8_t* cr) {
  const int done = vectorChromaRow(upper, lower, width, cb, cr);
  portableChromaRow(upper + done * kBytesPerPixel, lower + done * kBytesPerPixel, width - done,
                    cb + done / 2, cr + done / 2);
}

}  // namespace vx
