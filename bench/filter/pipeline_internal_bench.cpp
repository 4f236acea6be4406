#include <vector>

#include "filter/column_pipeline.h"
#include "qorcv/filter.h"
#include "support/row.h"

namespace qor::bench {
namespace {

// Taps, at compile time.
template <class Tap>
using Taps = std::vector<Tap>;

const Taps<Qor16s> smooth3{1, 2, 1}, smooth5{1, 4, 6, 4, 1}, general3{3, 5, 4}, general5{-3, 7, 11, 5, 2};
const Taps<Qor32f> float5{0.1F, 0.2F, 0.4F, 0.2F, 0.1F};

Taps<Qor32f> longTaps() {
  Taps<Qor32f> taps;
  for (int i = 0; i < 15; ++i) taps.push_back(0.01F * static_cast<Qor32f>(8 - (i < 7 ? 7 - i : i - 7)));
  return taps;
}

template <class D>
std::vector<D*> rowsOf(const Image<D>& image) {
  std::vector<D*> rows;
  for (int y = 0; y < image.height; ++y) rows.push_back(&image(0, y));
  return rows;
}

template <class Query>
Qor8u* scratchOf(Setup& s, Query* query, int kernelSize) {
  int bytes = 0;
  query(s.roi(), kernelSize, &bytes);
  return s.scratch(bytes);
}

template <class T, class D, class Tap, class Operation, class Query, class... Divisor>
auto rows(Operation* operation, Query* query, const Taps<Tap>& taps, Divisor... divisor) {
  return [=](Setup& s) {
    const auto src = s.random<T>();
    const auto dst = s.blank<D>();
    const int K = static_cast<int>(taps.size());
    return [=, roi = s.roi(), scratch = scratchOf(s, query, K), pointers = rowsOf(dst)] {
      return operation(src.p, src.step, pointers.data(), roi, taps.data(), K, K / 2, qorBorderRepl, T{0}, divisor...,
                       scratch);
    };
  };
}

auto colourRows(const Taps<Qor16s>& taps, int divisor) {
  return [=](Setup& s) {
    const auto src = s.random<Qor8u>({.channels = 3});
    const auto dst = s.blank<Qor16s>({.channels = 3});
    const auto black = s.blank<Qor8u>({.channels = 3, .size = {1, 1}});
    const int K = static_cast<int>(taps.size());
    return [=, roi = s.roi(), scratch = scratchOf(s, qoriFilterRowBorderPipelineGetBufferSize_8u16s_C3R, K),
            pointers = rowsOf(dst)] {
      return qoriFilterRowBorderPipeline_8u16s_C3R(src.p, src.step, pointers.data(), roi, taps.data(), K, K / 2,
                                                   qorBorderRepl, black.p, divisor, scratch);
    };
  };
}

template <class T, class D, class Tap, class Operation, class Query, class... Divisor>
auto columns(Operation* operation, Query* query, const Taps<Tap>& taps, Divisor... divisor) {
  return [=](Setup& s) {
    const int K = static_cast<int>(taps.size());
    const auto src = s.random<T>({.size = {s.roi().width, s.roi().height + K - 1}});
    const auto dst = s.blank<D>();
    const auto filled = rowsOf(src);
    return [=, roi = s.roi(), scratch = scratchOf(s, query, K),
            pointers = std::vector<const T*>(filled.begin(), filled.end())] {
      return operation(pointers.data(), dst.p, dst.step, roi, taps.data(), K, divisor..., scratch);
    };
  };
}

// Both passes, a row of intermediate sums for every row of the image and those above and below it: a ring of K.
auto bothPasses() {
  return [](Setup& s) {
    const auto taps = longTaps();
    const int K = static_cast<int>(taps.size());
    const auto src = s.random<Qor32f>();
    const auto dst = s.blank<Qor32f>();
    const auto ring = s.blank<Qor32f>({.size = {s.roi().width, K}});
    Qor8u* const rowScratch = scratchOf(s, qoriFilterRowBorderPipelineGetBufferSize_32f_C1R, K);
    Qor8u* const columnScratch = scratchOf(s, qoriFilterColumnPipelineGetBufferSize_32f_C1R, K);
    std::vector<Qor32f*> out;
    std::vector<const Qor32f*> in;
    for (int y = 0; y < s.roi().height + 2 * K; ++y) {
      out.push_back(&ring(0, y % K));
      in.push_back(&ring(0, y % K));
    }
    return [=, roi = s.roi()] {
      QorStatus status = qorStsNoErr;
      const QoriSize one{roi.width, 1};
      for (int i = 0; i < roi.height + K - 1 && status == qorStsNoErr; ++i) {
        const int y = i < K / 2 ? 0 : i - K / 2 < roi.height ? i - K / 2 : roi.height - 1;
        status = qoriFilterRowBorderPipeline_32f_C1R(&src(0, y), src.step, &out[static_cast<size_t>(i)], one,
                                                     taps.data(), K, K / 2, qorBorderRepl, 0, rowScratch);
        if (i < K - 1 || status != qorStsNoErr) continue;
        status = qoriFilterColumnPipeline_32f_C1R(&in[static_cast<size_t>(i - K + 1)], &dst(0, i - K + 1), dst.step,
                                                  one, taps.data(), K, columnScratch);
      }
      return status;
    };
  };
}

// Columns of rows of bytes, as the Gaussian filters take them: binomial taps that add up to 2^(K - 1).
auto byteColumns(int K) {
  return [=](Setup& s) {
    Taps<Qor16s> taps(static_cast<size_t>(K));
    double binomial = 4096 / static_cast<double>(1 << (K - 1));
    for (int i = 0; i < K; ++i) {
      taps[static_cast<size_t>(i)] = static_cast<Qor16s>(binomial);
      binomial = binomial * (K - 1 - i) / (i + 1);
    }
    const auto src = s.random<Qor16s>({.size = {s.roi().width, s.roi().height + K - 1}, .low = 0, .high = 255});
    const auto dst = s.blank<Qor8u>();
    const auto filled = rowsOf(src);
    const int bytes = static_cast<int>(columnBytesNeeded<Qor16s>(K));
    return [=, roi = s.roi(), scratch = s.scratch(bytes),
            pointers = std::vector<const Qor16s*>(filled.begin(), filled.end())] {
      return filterByteColumns(
          {pointers.data(), {dst.p, dst.step}, roi.width, roi.height, taps.data(), K, 4096, scratch, bytes});
    };
  };
}

const Register pipelines([] {
#define ROW(tag) qoriFilterRowBorderPipeline_##tag, qoriFilterRowBorderPipelineGetBufferSize_##tag
#define COLUMN(tag) qoriFilterColumnPipeline_##tag, qoriFilterColumnPipelineGetBufferSize_##tag
  using S = Qor16s;
  using F = Qor32f;
  Row("qoriFilterRowBorderPipeline_8u16s_C1R:K=3").threads(2, ultraHd).run(rows<Qor8u, S>(ROW(8u16s_C1R), smooth3, 1));
  Row("qoriFilterRowBorderPipeline_8u16s_C1R:K=5:by=16").run(rows<Qor8u, S>(ROW(8u16s_C1R), smooth5, 16));
  Row("qoriFilterRowBorderPipeline_8u16s_C1R:K=5:by=22").run(rows<Qor8u, S>(ROW(8u16s_C1R), general5, 22));
  Row("qoriFilterRowBorderPipeline_16s_C1R:K=5").run(rows<S, S>(ROW(16s_C1R), general5, 22));
  Row("qoriFilterRowBorderPipeline_16u_C1R:K=5")
      .run(rows<Qor16u, Qor16u>(ROW(16u_C1R), Taps<Qor16u>{1, 4, 6, 4, 1}, 16));
  Row("qoriFilterRowBorderPipeline_32f_C1R:K=5").run(rows<F, F>(ROW(32f_C1R), float5));
  Row("qoriFilterRowBorderPipeline_Low_16s_C1R:K=3").run(rows<S, S>(ROW(Low_16s_C1R), smooth3, 4));
  Row("qoriFilterRowBorderPipeline_Low_16s_C1R:K=5:binomial").run(rows<S, S>(ROW(Low_16s_C1R), smooth5, 16));
  Row("qoriFilterColumnPipeline_16s8u_C1R:K=3")
      .threads(2, ultraHd)
      .run(columns<S, Qor8u>(COLUMN(16s8u_C1R), smooth3, 4));
  Row("qoriFilterColumnPipeline_16s8u_C1R:K=5").run(columns<S, Qor8u>(COLUMN(16s8u_C1R), smooth5, 16));
  Row("qoriFilterColumnPipeline_16s8u_C1R:K=3:by=12").run(columns<S, Qor8u>(COLUMN(16s8u_C1R), general3, 12));
  Row("qoriFilterColumnPipeline_16s8u_C1R:K=5:by=22").run(columns<S, Qor8u>(COLUMN(16s8u_C1R), general5, 22));
  Row("qoriFilterColumnPipeline_16s_C1R:K=3").run(columns<S, S>(COLUMN(16s_C1R), smooth3, 4));
  Row("qoriFilterColumnPipeline_16s_C1R:K=5").run(columns<S, S>(COLUMN(16s_C1R), smooth5, 16));
  Row("qoriFilterColumnPipeline_16s_C1R:K=5:by=22").run(columns<S, S>(COLUMN(16s_C1R), general5, 22));
  Row("qoriFilterColumnPipeline_16u_C1R:K=5")
      .run(columns<Qor16u, Qor16u>(COLUMN(16u_C1R), Taps<Qor16u>{1, 4, 6, 4, 1}, 16));
  Row("qoriFilterColumnPipeline_32f_C1R:K=5").run(columns<F, F>(COLUMN(32f_C1R), float5));
  Row("qoriFilterColumnPipeline_Low_16s_C1R:K=3").run(columns<S, S>(COLUMN(Low_16s_C1R), smooth3, 4));
  Row("qoriFilterColumnPipeline_Low_16s_C1R:K=5:binomial").run(columns<S, S>(COLUMN(Low_16s_C1R), smooth5, 16));
  for (const int K : {3, 5, 7, 9, 15}) {
    Taps<S> taps(static_cast<size_t>(K), static_cast<S>(4096 / K));
    taps.front() = 100;
    Row("qoriFilterRowBorderPipeline_8u16s_C1R:K=" + std::to_string(K) + ":by=4096")
        .run(rows<Qor8u, S>(ROW(8u16s_C1R), taps, 4096));
    if (K == 5 || K == 15) {
      taps.back() = taps.front();
      Row("qoriFilterRowBorderPipeline_8u16s_C3R:K=" + std::to_string(K) + ":by=4096").run(colourRows(taps, 4096));
    }
    Row("filterByteColumns_16s8u_C1R:K=" + std::to_string(K) + ":by=4096").run(byteColumns(K));
  }
  Row("qoriFilterRowBorderPipeline_32f_C1R:and_column:K=15").pixel(4).run(bothPasses());
});

}  // namespace
}  // namespace qor::bench
