#pragma once
// FFmpeg's sample-rate and channel conversion, opened on the first conversion (see
// SharedLibrary.h): most commands and the start of every program never convert.
extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace platform {

struct SwresampleFunctions {
    decltype(&::swr_alloc_set_opts2) swr_alloc_set_opts2;
    decltype(&::swr_init) swr_init;
    decltype(&::swr_free) swr_free;
    decltype(&::swr_convert) swr_convert;
    decltype(&::swr_set_matrix) swr_set_matrix;
    decltype(&::swr_get_out_samples) swr_get_out_samples;
    decltype(&::av_channel_layout_default) av_channel_layout_default;
    decltype(&::av_channel_layout_from_mask) av_channel_layout_from_mask;
    decltype(&::av_channel_layout_uninit) av_channel_layout_uninit;
    decltype(&::av_opt_set_double) av_opt_set_double;
    decltype(&::av_log_set_level) av_log_set_level;
};

// The functions; nullptr when the library can't be opened (logged once).
const SwresampleFunctions* swresample();

}  // namespace platform
