#include <glib.h>
#include <malloc.h>

#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <utility>

#include "CBtInfoSync.h"
#include "CSsoManager.h"
#include "Manager/CAccessTokenManager.h"
#include "Manager/CCloudServerManager.h"
#include "Util/Log.h"

namespace {

/**
 * A run handles a few texts and trees of up to many megabytes, one after another: what one gives back stays
 * for the next, and the small pieces of a tree are joined as they come back, not all at the next large one.
 */
void TuneAllocator() {
    constexpr int LARGEST_THRESHOLD = 32 * 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, LARGEST_THRESHOLD);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    mallopt(M_TOP_PAD, LARGEST_THRESHOLD / 2);
    mallopt(M_MXFAST, 0);
}

}  // namespace

int main() {
    TuneAllocator();
    INFOSYNC_LOG(DLOG_ERROR, "<<Not Error>>Start main loop");
    // Lives as long as the process; static, so that a leak checker sees that it is still held at the end.
    static GMainLoop* loop = nullptr;
    try {
        auto accessTokenManager = std::make_unique<CAccessTokenManager>();
        auto cloudServerManager = std::make_unique<CCloudServerManager>();
        auto ssoManager = std::make_unique<CSsoManager>();
        const std::unique_ptr<CBtInfoSync, std::function<void(CBtInfoSync*)>> service(
            new CBtInfoSync(std::move(accessTokenManager), std::move(cloudServerManager),
                            std::move(ssoManager)),
            [](CBtInfoSync* self) {
                self->Deinit();
                delete self;
            });
        loop = g_main_loop_new(nullptr, FALSE);
        service->Init(loop);
        service->Start();
        g_main_loop_run(loop);
        service->Stop();
    } catch (const std::exception& e) {
        INFOSYNC_LOG(DLOG_ERROR, "exception : %s", e.what());
        if (loop != nullptr) {
            g_main_loop_quit(loop);
        }
    }
    INFOSYNC_LOG(DLOG_ERROR, "<<Not Error>>End main loop");
    return 0;
}
