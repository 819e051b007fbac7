#include "mediagen/movie_writer.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "media/ffmpeg/av_handles.h"
#include "mediagen/frame_code.h"
#include "mediagen/position_signal.h"
#include "mediagen/showcase_content.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
}

namespace reelcraft::testmedia {
namespace {

struct OutputTrack {
  AVStream* stream = nullptr;
  CodecContextPtr encoder;
  FramePtr frame;
  int64_t startPts = 0;  // presentation time of the first frame, in the encoder's time base
  int64_t nextPts = 0;
  bool finished = false;
  // Fills `frame` with the content at `position` (frames or samples from the track's start)
  // and returns its length in encoder time base units; zero when the track has no more.
  std::function<int64_t(AVFrame& frame, int64_t position)> produce;
};

const AVCodec* findEncoder(const std::string& name) {
  const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
  if (!codec) throw std::runtime_error("no encoder named " + name);
  return codec;
}

void openEncoder(AVFormatContext* output, OutputTrack& track, const AVCodec* codec,
                 AVDictionary** options) {
  if (output->oformat->flags & AVFMT_GLOBALHEADER) {
    track.encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  }
  checkFFmpeg(avcodec_open2(track.encoder.get(), codec, options),
              std::string("opening encoder ") + codec->name);
  checkFFmpeg(avcodec_parameters_from_context(track.stream->codecpar, track.encoder.get()),
              "copying encoder parameters");
  track.stream->time_base = track.encoder->time_base;
}

std::function<int64_t(AVFrame&, int64_t)> videoProducer(const VideoTrackRecipe& recipe) {
  if (recipe.content == PictureContent::FrameCode) {
    const bool fullRange = recipe.encoder == "mjpeg";
    return [recipe, fullRange](AVFrame& frame, int64_t position) -> int64_t {
      if (position >= recipe.frameCount) return 0;
      drawFrameCode(static_cast<int>(position), frame.data[0], frame.width, frame.height,
                    frame.linesize[0], fullRange ? 0 : 16, fullRange ? 255 : 235);
      for (int plane = 1; plane <= 2; ++plane) {
        for (int y = 0; y < (frame.height + 1) / 2; ++y) {
          std::fill_n(frame.data[plane] + y * frame.linesize[plane], (frame.width + 1) / 2, 128);
        }
      }
      return 1;
    };
  }
  auto rgb = std::make_shared<std::vector<uint8_t>>(size_t{3} * recipe.width * recipe.height);
  std::shared_ptr<SwsContext> scaler = ScalerPtr(
      sws_getContext(recipe.width, recipe.height, AV_PIX_FMT_RGB24, recipe.width, recipe.height,
                     recipe.encoder == "mjpeg" ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P,
                     SWS_BICUBIC, nullptr, nullptr, nullptr));
  if (!scaler) throw std::runtime_error("cannot convert RGB pictures for the encoder");
  return [recipe, rgb, scaler](AVFrame& frame, int64_t position) -> int64_t {
    if (position >= recipe.frameCount) return 0;
    const double framesPerSecond = static_cast<double>(recipe.frameRate.num) / recipe.frameRate.den;
    drawShowcasePicture(static_cast<int>(position), framesPerSecond, rgb->data(), recipe.width,
                        recipe.height, 3 * recipe.width);
    const uint8_t* source[1] = {rgb->data()};
    const int sourceStride[1] = {3 * recipe.width};
    sws_scale(scaler.get(), source, sourceStride, 0, recipe.height, frame.data, frame.linesize);
    return 1;
  };
}

OutputTrack addVideoTrack(AVFormatContext* output, const VideoTrackRecipe& recipe) {
  if (recipe.startFrame < 0 ||
      int64_t{recipe.startFrame} * recipe.frameRate.den * 1000 % recipe.frameRate.num != 0) {
    throw std::runtime_error("a video track must start at a whole number of milliseconds");
  }
  const AVCodec* codec = findEncoder(recipe.encoder);
  OutputTrack track;
  track.stream = avformat_new_stream(output, nullptr);
  track.encoder.reset(avcodec_alloc_context3(codec));
  if (!track.stream || !track.encoder) throw std::bad_alloc();

  AVCodecContext* encoder = track.encoder.get();
  encoder->width = recipe.width;
  encoder->height = recipe.height;
  encoder->time_base = {recipe.frameRate.den, recipe.frameRate.num};
  encoder->framerate = {recipe.frameRate.num, recipe.frameRate.den};
  encoder->sample_aspect_ratio = {1, 1};
  encoder->gop_size = recipe.gopSize;
  encoder->max_b_frames = recipe.maxBFrames;
  encoder->bit_rate = recipe.bitRate;
  encoder->thread_count = 1;
  AVDictionary* options = nullptr;
  if (recipe.encoder == "mjpeg") {
    encoder->pix_fmt = AV_PIX_FMT_YUVJ420P;
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = FF_QP2LAMBDA * 3;
  } else {
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    av_dict_set(&options, "preset", "veryfast", 0);
    // Fixed GOPs and always the full number of B-frames, so that the structure is known.
    av_dict_set(&options, "x264-params", "scenecut=0:b-adapt=0", 0);
  }
  openEncoder(output, track, codec, &options);
  av_dict_free(&options);
  track.stream->avg_frame_rate = encoder->framerate;

  if (recipe.rotationDegreesClockwise % 360 != 0) {
    auto* matrix = reinterpret_cast<int32_t*>(
        av_stream_new_side_data(track.stream, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(int32_t)));
    if (!matrix) throw std::bad_alloc();
    // Takes a clockwise angle (av_display_rotation_get reports it counter-clockwise).
    av_display_rotation_set(matrix, recipe.rotationDegreesClockwise);
  }

  track.frame = allocateFrame();
  track.frame->format = encoder->pix_fmt;
  track.frame->width = recipe.width;
  track.frame->height = recipe.height;
  track.frame->color_range = recipe.encoder == "mjpeg" ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  checkFFmpeg(av_frame_get_buffer(track.frame.get(), 0), "allocating a picture");
  track.produce = videoProducer(recipe);
  track.startPts = track.nextPts = recipe.startFrame;
  return track;
}

// Writes `count` samples per channel from `channels` into an audio frame of any PCM layout.
void storeSamples(AVFrame& frame, const std::vector<std::vector<float>>& channels, int count) {
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const int channelCount = static_cast<int>(channels.size());
  for (int c = 0; c < channelCount; ++c) {
    for (int i = 0; i < count; ++i) {
      const float value = channels[c][i];
      const auto s16 = static_cast<int16_t>(std::clamp(value, -1.0f, 1.0f) * 32767.0f);
      switch (format) {
        case AV_SAMPLE_FMT_FLTP:
          reinterpret_cast<float*>(frame.data[c])[i] = value;
          break;
        case AV_SAMPLE_FMT_FLT:
          reinterpret_cast<float*>(frame.data[0])[i * channelCount + c] = value;
          break;
        case AV_SAMPLE_FMT_S16P:
          reinterpret_cast<int16_t*>(frame.data[c])[i] = s16;
          break;
        case AV_SAMPLE_FMT_S16:
          reinterpret_cast<int16_t*>(frame.data[0])[i * channelCount + c] = s16;
          break;
        default:
          throw std::runtime_error("unsupported sample format for the test encoder");
      }
    }
  }
}

std::function<int64_t(AVFrame&, int64_t)> audioProducer(const AudioTrackRecipe& recipe,
                                                        int frameSize) {
  auto scratch = std::make_shared<std::vector<std::vector<float>>>(recipe.channels,
                                                                   std::vector<float>(frameSize));
  return [recipe, frameSize, scratch](AVFrame& frame, int64_t position) -> int64_t {
    const int count = static_cast<int>(std::min<int64_t>(frameSize, recipe.sampleCount - position));
    if (count <= 0) return 0;
    const double totalSeconds = static_cast<double>(recipe.sampleCount) / recipe.sampleRate;
    for (int c = 0; c < recipe.channels; ++c) {
      std::vector<float>& channel = (*scratch)[c];
      for (int i = 0; i < count; ++i) {
        const double seconds = static_cast<double>(position + i) / recipe.sampleRate;
        channel[i] = recipe.content == SoundContent::PositionSignal
                         ? positionSignalValue(seconds)
                         : melodyValue(seconds, totalSeconds, c, recipe.channels);
      }
    }
    frame.nb_samples = count;
    storeSamples(frame, *scratch, count);
    return count;
  };
}

OutputTrack addAudioTrack(AVFormatContext* output, const AudioTrackRecipe& recipe) {
  const AVCodec* codec = findEncoder(recipe.encoder);
  OutputTrack track;
  track.stream = avformat_new_stream(output, nullptr);
  track.encoder.reset(avcodec_alloc_context3(codec));
  if (!track.stream || !track.encoder) throw std::bad_alloc();

  AVCodecContext* encoder = track.encoder.get();
  encoder->sample_rate = recipe.sampleRate;
  encoder->time_base = {1, recipe.sampleRate};
  av_channel_layout_default(&encoder->ch_layout, recipe.channels);
  encoder->sample_fmt = codec->sample_fmts ? codec->sample_fmts[0] : AV_SAMPLE_FMT_FLTP;
  encoder->bit_rate = recipe.bitRate;
  openEncoder(output, track, codec, nullptr);

  const bool variableFrameSize = codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE;
  const int frameSize =
      (variableFrameSize || encoder->frame_size <= 0) ? 1024 : encoder->frame_size;
  track.frame = allocateFrame();
  track.frame->format = encoder->sample_fmt;
  track.frame->sample_rate = recipe.sampleRate;
  track.frame->nb_samples = frameSize;
  checkFFmpeg(av_channel_layout_copy(&track.frame->ch_layout, &encoder->ch_layout),
              "copying the channel layout");
  checkFFmpeg(av_frame_get_buffer(track.frame.get(), 0), "allocating a sound buffer");
  track.produce = audioProducer(recipe, frameSize);
  return track;
}

// Sends `frame` (null to flush) and writes every packet the encoder gives back.
void encode(AVFormatContext* output, OutputTrack& track, AVFrame* frame, AVPacket* packet) {
  checkFFmpeg(avcodec_send_frame(track.encoder.get(), frame), "encoding");
  while (true) {
    const int result = avcodec_receive_packet(track.encoder.get(), packet);
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
    checkFFmpeg(result, "encoding");
    av_packet_rescale_ts(packet, track.encoder->time_base, track.stream->time_base);
    packet->stream_index = track.stream->index;
    checkFFmpeg(av_interleaved_write_frame(output, packet), "writing a packet");
  }
}

}  // namespace

void writeMovie(const std::string& path, const MovieRecipe& recipe) {
  try {
    if (recipe.videoTracks.empty() && recipe.audioTracks.empty()) {
      throw std::runtime_error("a movie needs at least one track");
    }
    AVFormatContext* rawOutput = nullptr;
    checkFFmpeg(
        avformat_alloc_output_context2(&rawOutput, nullptr, recipe.container.c_str(), path.c_str()),
        "creating a " + recipe.container + " writer");
    OutputContextPtr output(rawOutput);

    std::vector<OutputTrack> tracks;
    for (const VideoTrackRecipe& video : recipe.videoTracks) {
      tracks.push_back(addVideoTrack(output.get(), video));
    }
    for (const AudioTrackRecipe& audio : recipe.audioTracks) {
      tracks.push_back(addAudioTrack(output.get(), audio));
    }

    checkFFmpeg(avio_open(&output->pb, path.c_str(), AVIO_FLAG_WRITE), "creating the file");
    checkFFmpeg(avformat_write_header(output.get(), nullptr), "writing the header");

    PacketPtr packet = allocatePacket();
    while (true) {
      // Feed the track that is furthest behind, so the muxer can interleave as it goes.
      OutputTrack* next = nullptr;
      for (OutputTrack& track : tracks) {
        if (track.finished) continue;
        if (!next || av_compare_ts(track.nextPts, track.encoder->time_base, next->nextPts,
                                   next->encoder->time_base) < 0) {
          next = &track;
        }
      }
      if (!next) break;
      checkFFmpeg(av_frame_make_writable(next->frame.get()), "preparing a frame");
      const int64_t length = next->produce(*next->frame, next->nextPts - next->startPts);
      if (length == 0) {
        encode(output.get(), *next, nullptr, packet.get());
        next->finished = true;
        continue;
      }
      next->frame->pts = next->nextPts;
      next->nextPts += length;
      encode(output.get(), *next, next->frame.get(), packet.get());
    }
    checkFFmpeg(av_write_trailer(output.get()), "finishing the file");
  } catch (const std::runtime_error& error) {
    throw std::runtime_error("cannot write " + path + ": " + error.what());
  }
}

}  // namespace reelcraft::testmedia
