#include "media/audio/audio_tempo_filter.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

namespace reelcraft {
namespace {

AVFilterContext* createFilter(AVFilterGraph* graph, const char* filterName, const char* name,
                              const std::string& arguments) {
  const AVFilter* filter = avfilter_get_by_name(filterName);
  AVFilterContext* context = nullptr;
  if (!filter || avfilter_graph_create_filter(&context, filter, name,
                                              arguments.empty() ? nullptr : arguments.c_str(),
                                              nullptr, graph) < 0) {
    throw std::runtime_error(std::string("cannot set up the ") + filterName + " filter");
  }
  return context;
}

}  // namespace

std::vector<double> AudioTempoFilter::stageFactors(double tempo) {
  if (!(tempo > 0) || !std::isfinite(tempo)) throw std::invalid_argument("tempo must be positive");
  std::vector<double> factors;
  while (tempo > 2.0) {
    factors.push_back(2.0);
    tempo /= 2.0;
  }
  while (tempo < 0.5) {
    factors.push_back(0.5);
    tempo /= 0.5;
  }
  factors.push_back(tempo);
  return factors;
}

AudioTempoFilter::AudioTempoFilter(double tempo, int sampleRate)
    : sampleRate_(sampleRate), graph_(avfilter_graph_alloc()), scratch_(allocateFrame()) {
  const std::vector<double> factors = stageFactors(tempo);
  if (!graph_) throw std::bad_alloc();
  // One thread: the graph is small, and a reader already has its own thread.
  graph_->nb_threads = 1;
  source_ = createFilter(graph_.get(), "abuffer", "in",
                         "sample_rate=" + std::to_string(sampleRate) +
                             ":sample_fmt=flt:channel_layout=stereo:time_base=1/" +
                             std::to_string(sampleRate));
  sink_ = avfilter_graph_alloc_filter(graph_.get(), avfilter_get_by_name("abuffersink"), "out");
  const AVSampleFormat floatOnly[] = {AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_NONE};
  if (!sink_ ||
      av_opt_set_int_list(sink_, "sample_fmts", floatOnly, AV_SAMPLE_FMT_NONE,
                          AV_OPT_SEARCH_CHILDREN) < 0 ||
      avfilter_init_str(sink_, nullptr) < 0) {
    throw std::runtime_error("cannot set up the tempo filter's output");
  }
  AVFilterContext* previous = source_;
  for (size_t i = 0; i < factors.size(); ++i) {
    char tempoText[64];
    std::snprintf(tempoText, sizeof tempoText, "tempo=%.17g", factors[i]);
    AVFilterContext* stage =
        createFilter(graph_.get(), "atempo", ("tempo" + std::to_string(i)).c_str(), tempoText);
    if (avfilter_link(previous, 0, stage, 0) < 0) throw std::runtime_error("cannot link atempo");
    previous = stage;
  }
  if (avfilter_link(previous, 0, sink_, 0) < 0 ||
      avfilter_graph_config(graph_.get(), nullptr) < 0) {
    throw std::runtime_error("cannot set up the tempo filter");
  }
}

AudioTempoFilter::~AudioTempoFilter() = default;

void AudioTempoFilter::push(const float* samples, int count, std::vector<float>& output) {
  if (count <= 0 || finished_) return;
  FramePtr frame = allocateFrame();
  frame->format = AV_SAMPLE_FMT_FLT;
  frame->sample_rate = sampleRate_;
  frame->nb_samples = count;
  const AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
  if (av_channel_layout_copy(&frame->ch_layout, &stereo) < 0 ||
      av_frame_get_buffer(frame.get(), 0) < 0) {
    throw std::bad_alloc();
  }
  std::memcpy(frame->data[0], samples, static_cast<size_t>(count) * 2 * sizeof(float));
  frame->pts = pushedFrames_;
  pushedFrames_ += count;
  if (av_buffersrc_add_frame(source_, frame.get()) < 0) {
    throw std::runtime_error("the tempo filter refused its input");
  }
  drain(output);
}

void AudioTempoFilter::finish(std::vector<float>& output) {
  if (finished_) return;
  finished_ = true;
  if (av_buffersrc_add_frame(source_, nullptr) < 0) {
    throw std::runtime_error("the tempo filter could not finish");
  }
  drain(output);
}

void AudioTempoFilter::drain(std::vector<float>& output) {
  while (av_buffersink_get_frame(sink_, scratch_.get()) >= 0) {
    const auto* data = reinterpret_cast<const float*>(scratch_->data[0]);
    output.insert(output.end(), data, data + static_cast<size_t>(scratch_->nb_samples) * 2);
    av_frame_unref(scratch_.get());
  }
}

}  // namespace reelcraft
