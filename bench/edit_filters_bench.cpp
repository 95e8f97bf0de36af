// The edit filters on a 24-megapixel photo against libvips's own operations on the same
// decoded pixels, in one process: both sides start from pixels in memory and end with a new
// image in memory, both with the machine's threads (libvips's pool, our two row bands).
// bench/compare/edit_filters_compare.sh runs this and prints the ratios of the medians.
//   Environment: QUORVANE_BENCH_PHOTO (default /tmp/corpus/big24mp.jpg).
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include <benchmark/benchmark.h>
#include <vips/vips.h>

#include "image/image.h"
#include "imaging/image_filter.h"

namespace {

using quorvane::image::Image;
namespace imaging = quorvane::imaging;

const Image& Photo() {
  static const Image photo = [] {
    const char* path = std::getenv("QUORVANE_BENCH_PHOTO");
    Image image;
    if (!image.Load(path != nullptr ? path : "/tmp/corpus/big24mp.jpg")) {
      std::fprintf(stderr, "cannot load the photo: %s\n", image.last_error().c_str());
      std::exit(2);
    }
    return image;
  }();
  return photo;
}

void RunOurs(benchmark::State& state, const imaging::ImageFilter& filter) {
  const Image& photo = Photo();
  for (auto _ : state) {
    Image copy = photo;      // shares the pixels: the filter pays for its own output
    imaging::FilterRun run;  // nobody watches: the sink that shows nothing
    if (filter.Apply(copy, run) != imaging::kOk) state.SkipWithError("filter failed");
    benchmark::DoNotOptimize(copy.Row(0));
  }
  state.SetItemsProcessed(state.iterations() * photo.width() * photo.height());
}

// `make` builds the libvips pipeline on a view of the photo's pixels; the result is computed
// into a memory image, as our filters compute into theirs.
void RunVips(benchmark::State& state, const std::function<int(VipsImage*, VipsImage**)>& make) {
  const Image& photo = Photo();
  VipsImage* in =
      vips_image_new_from_memory(photo.Row(0), photo.stride() * photo.height(), photo.width(),
                                 photo.height(), photo.channels(), VIPS_FORMAT_UCHAR);
  in->Type = VIPS_INTERPRETATION_sRGB;
  for (auto _ : state) {
    VipsImage* out = nullptr;
    if (make(in, &out) != 0) {
      state.SkipWithError(vips_error_buffer());
      break;
    }
    VipsImage* memory = vips_image_copy_memory(out);
    g_object_unref(out);
    if (memory == nullptr) {
      state.SkipWithError(vips_error_buffer());
      break;
    }
    benchmark::DoNotOptimize(VIPS_IMAGE_ADDR(memory, 0, 0));
    g_object_unref(memory);
  }
  g_object_unref(in);
  state.SetItemsProcessed(state.iterations() * photo.width() * photo.height());
}

int Convolve(VipsImage* in, VipsImage** out, const double* kernel, double scale) {
  VipsImage* mask = vips_image_new_matrix_from_array(3, 3, kernel, 9);
  vips_image_set_double(mask, "scale", scale);
  vips_image_set_double(mask, "offset", 0);
  const int result = vips_conv(in, out, mask, "precision", VIPS_PRECISION_INTEGER, nullptr);
  g_object_unref(mask);
  return result;
}

constexpr double kSharpen[9] = {-1, -1, -1, -1, 15, -1, -1, -1, -1};
constexpr double kSoften[9] = {1, 1, 1, 1, 8, 1, 1, 1, 1};
constexpr double kBlur[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};

void BM_Ours_Sharpen(benchmark::State& s) { RunOurs(s, imaging::SharpenFilter()); }
void BM_Vips_Sharpen(benchmark::State& s) {
  RunVips(s, [](VipsImage* in, VipsImage** out) { return Convolve(in, out, kSharpen, 7); });
}
void BM_Ours_Soften(benchmark::State& s) { RunOurs(s, imaging::SoftenFilter()); }
void BM_Vips_Soften(benchmark::State& s) {
  RunVips(s, [](VipsImage* in, VipsImage** out) { return Convolve(in, out, kSoften, 16); });
}
void BM_Ours_Blur(benchmark::State& s) { RunOurs(s, imaging::BlurFilter()); }
void BM_Vips_Blur(benchmark::State& s) {
  RunVips(s, [](VipsImage* in, VipsImage** out) { return Convolve(in, out, kBlur, 9); });
}
void BM_Ours_Gamma(benchmark::State& s) { RunOurs(s, imaging::GammaFilter(1.8f)); }
void BM_Vips_Gamma(benchmark::State& s) {
  RunVips(s, [](VipsImage* in, VipsImage** out) {
    return vips_gamma(in, out, "exponent", 1.8, nullptr);
  });
}
// More contrast: 128 + (v - 128) * 1.2.
void BM_Ours_Light(benchmark::State& s) { RunOurs(s, imaging::LightFilter(0, 120)); }
void BM_Vips_Light(benchmark::State& s) {
  RunVips(s, [](VipsImage* in, VipsImage** out) {
    return vips_linear1(in, out, 1.2, 128 * (1 - 1.2), "uchar", TRUE, nullptr);
  });
}
void BM_Ours_Grayscale(benchmark::State& s) { RunOurs(s, imaging::GrayscaleFilter()); }
void BM_Vips_Grayscale(benchmark::State& s) {
  RunVips(s, [](VipsImage* in, VipsImage** out) {
    return vips_colourspace(in, out, VIPS_INTERPRETATION_B_W, nullptr);
  });
}
void BM_Ours_UnsharpMask(benchmark::State& s) { RunOurs(s, imaging::UnsharpMaskFilter()); }
void BM_Vips_UnsharpMask(benchmark::State& s) {
  RunVips(s, [](VipsImage* in, VipsImage** out) {
    return vips_sharpen(in, out, "sigma", 1.0, nullptr);
  });
}

// Ours and libvips's alternate, so a slow spell of the machine hits both.
BENCHMARK(BM_Ours_Sharpen)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Vips_Sharpen)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Ours_Soften)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Vips_Soften)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Ours_Blur)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Vips_Blur)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Ours_Gamma)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Vips_Gamma)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Ours_Light)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Vips_Light)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Ours_Grayscale)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Vips_Grayscale)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(BM_Ours_UnsharpMask)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();
BENCHMARK(BM_Vips_UnsharpMask)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();

}  // namespace

int main(int argc, char** argv) {
  if (VIPS_INIT(argv[0]) != 0) return 2;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  vips_shutdown();
  return 0;
}
