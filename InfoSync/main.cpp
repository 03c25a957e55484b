#include <glib.h>

#include <exception>
#include <functional>
#include <memory>
#include <utility>

#include "CBtInfoSync.h"
#include "CSsoManager.h"
#include "Manager/CAccessTokenManager.h"
#include "Manager/CCloudServerManager.h"
#include "Util/Log.h"

int main() {
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
