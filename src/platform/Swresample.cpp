#include "platform/Swresample.h"

#include "platform/Log.h"
#include "platform/SharedLibrary.h"

#include <mutex>

namespace platform {

const SwresampleFunctions* swresample()
{
    static std::once_flag once;
    static SwresampleFunctions functions {};
    static bool loaded = false;
    std::call_once(once, [] {
        SwresampleFunctions& f = functions;
        QString error;
        // The conversion library names the utility library it was built with, so one opening
        // finds the functions of both.
        loaded = openSharedLibrary(WL_SWRESAMPLE_SONAME,
                                   {WL_LIBRARY_FUNCTION(f, swr_alloc_set_opts2), WL_LIBRARY_FUNCTION(f, swr_init),
                                    WL_LIBRARY_FUNCTION(f, swr_free), WL_LIBRARY_FUNCTION(f, swr_convert),
                                    WL_LIBRARY_FUNCTION(f, swr_set_matrix), WL_LIBRARY_FUNCTION(f, swr_get_out_samples),
                                    WL_LIBRARY_FUNCTION(f, av_channel_layout_default),
                                    WL_LIBRARY_FUNCTION(f, av_channel_layout_from_mask),
                                    WL_LIBRARY_FUNCTION(f, av_channel_layout_uninit),
                                    WL_LIBRARY_FUNCTION(f, av_opt_set_double),
                                    WL_LIBRARY_FUNCTION(f, av_log_set_level)},
                                   &error);
        // Refusals come back as error codes, and we say what they mean.
        if (loaded)
            f.av_log_set_level(AV_LOG_QUIET);
        if (!loaded)
            log(QStringLiteral("Sample-rate conversion is not available: %1").arg(error));
    });
    return loaded ? &functions : nullptr;
}

}  // namespace platform
