#include "CBtInfoSync.h"

#include <exception>
#include <utility>

#include "CSsoManager.h"
#include "Manager/CAccessTokenManager.h"
#include "Manager/CCloudServerManager.h"
#include "Util/BluetoothUtil.h"
#include "Util/CInfoSyncException.h"
#include "Util/Log.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

namespace {

constexpr int FACTORY_RESET_REQUESTED = 1;

}  // namespace

CBtInfoSync::CBtInfoSync(std::unique_ptr<CAccessTokenManager> accessTokenManager,
                         std::unique_ptr<CCloudServerManager> cloudServerManager,
                         std::unique_ptr<CSsoManager> ssoManager)
    : m_accessTokenManager(std::move(accessTokenManager)),
      m_cloudServerManager(std::move(cloudServerManager)),
      m_ssoManager(std::move(ssoManager)) {
    ApiTracker tracker(
        "CBtInfoSync::CBtInfoSync(std::unique_ptr<CAccessTokenManager>, "
        "std::unique_ptr<CCloudServerManager>, "
        "std::unique_ptr<CSsoManager>)",
        __LINE__);
}

CBtInfoSync::~CBtInfoSync() {
    ApiTracker tracker("CBtInfoSync::~CBtInfoSync()", __LINE__);
}

void CBtInfoSync::Init(GMainLoop* mainLoop) {
    ApiTracker tracker("void CBtInfoSync::Init(GMainLoop*)", __LINE__);
    if (!BluetoothUtil::Initialize()) {
        throw CInfoSyncException("Fail to bt init");
    }
    if (IsFactoryReset()) {
        ResetAllDatas();
    }
    m_mainLoop = mainLoop;
}

bool CBtInfoSync::IsFactoryReset() {
    const int flag = InfoSyncUtil::GetFactoryResetFlag();
    INFOSYNC_LOG(DLOG_ERROR, "<<Not Error>> Factory Reset Flag : %d", flag);
    if (flag != FACTORY_RESET_REQUESTED) {
        return false;
    }
    INFOSYNC_LOG(DLOG_ERROR, "Set Factory Reset Flag as 0");
    InfoSyncUtil::ClearFactoryResetFlag();
    return true;
}

void CBtInfoSync::ResetAllDatas() {
    INFOSYNC_LOG(DLOG_ERROR, "<<Not Error>> Reset all datas");
    InfoSyncUtil::SetDeviceList("");
    for (const char* alias :
         {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_AUTH_CODE, InfoSyncUtil::ALIAS_RECORDS,
          InfoSyncUtil::ALIAS_JWT, InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO}) {
        InfoSyncUtil::RemoveData(alias);
    }
}

void CBtInfoSync::Start() {
    ApiTracker tracker("void CBtInfoSync::Start()", __LINE__);
    if (m_ssoManager->IsLoggedIn()) {
        m_accessTokenManager->Init(m_ssoManager);
        m_cloudServerManager->Init(m_ssoManager);
        const GSourceFunc getAccessToken = [](gpointer self) -> gboolean {
            static_cast<CBtInfoSync*>(self)->GetAccessToken();
            return FALSE;
        };
        g_idle_add(getAccessToken, this);
        return;
    }
    ++m_tryCount;
    INFOSYNC_LOG(DLOG_WARN, "Not logged in, try : %d", m_tryCount);
    if (m_tryCount < m_retryLimit) {
        ScheduleRetry();
    } else {
        INFOSYNC_LOG(DLOG_WARN, "Exit process");
        g_main_loop_quit(m_mainLoop);
    }
}

void CBtInfoSync::ScheduleRetry() {
    const GSourceFunc onTimeout = [](gpointer self) -> gboolean {
        static_cast<CBtInfoSync*>(self)->m_retrySourceId = 0;
        const GSourceFunc retry = [](gpointer data) -> gboolean {
            auto* service = static_cast<CBtInfoSync*>(data);
            INFOSYNC_LOG(DLOG_INFO, "retry!");
            try {
                service->Start();
            } catch (const std::exception& e) {
                INFOSYNC_LOG(DLOG_ERROR, "Exception : %s", e.what());
                g_main_loop_quit(service->m_mainLoop);
            }
            return FALSE;
        };
        g_idle_add(retry, self);
        return FALSE;
    };
    m_retrySourceId = g_timeout_add_seconds(SIGN_IN_CHECK_INTERVAL_SECONDS, onTimeout, this);
}

void CBtInfoSync::GetAccessToken() {
    ApiTracker tracker("void CBtInfoSync::GetAccessToken()", __LINE__);
    m_accessTokenManager->GetAccessToken(
        [this](CAccessTokenManager::AccessTokenResult result, const std::shared_ptr<CAccessToken>& token) {
            if (result == CAccessTokenManager::Failure) {
                INFOSYNC_LOG(DLOG_ERROR, "fail to get access Token");
            } else {
                m_cloudServerManager->GetBTInfoDataFromCloud(token);
            }
            g_main_loop_quit(m_mainLoop);
        });
}

void CBtInfoSync::Stop() {
    ApiTracker tracker("void CBtInfoSync::Stop()", __LINE__);
    m_accessTokenManager->Deinit();
    m_cloudServerManager->Deinit();
    if (m_retrySourceId != 0) {
        g_source_remove(m_retrySourceId);
    }
}

void CBtInfoSync::Deinit() {
    ApiTracker tracker("void CBtInfoSync::Deinit()", __LINE__);
    BluetoothUtil::Deinitialize();
}
