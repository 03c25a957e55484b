/** The service: waits for sign-in, runs one synchronisation and leaves the main loop. */
#pragma once

#include <glib.h>

#include <cstdint>
#include <memory>

class CAccessTokenManager;
class CCloudServerManager;
class CSsoManager;

class CBtInfoSync {
public:
    static constexpr std::int32_t SIGN_IN_CHECKS = 5;
    static constexpr unsigned SIGN_IN_CHECK_INTERVAL_SECONDS = 5;
    static constexpr unsigned SIGN_IN_WAIT_SECONDS = (SIGN_IN_CHECKS - 1) * SIGN_IN_CHECK_INTERVAL_SECONDS;

    CBtInfoSync(std::unique_ptr<CAccessTokenManager> accessTokenManager,
                std::unique_ptr<CCloudServerManager> cloudServerManager,
                std::unique_ptr<CSsoManager> ssoManager);
    ~CBtInfoSync();
    CBtInfoSync(const CBtInfoSync&) = delete;
    CBtInfoSync& operator=(const CBtInfoSync&) = delete;

    /**
     * Brings Bluetooth up and carries out a factory reset that was asked for.
     * mainLoop: not owned; the service quits it at the end of its run.
     * @throws CInfoSyncException when Bluetooth does not come up
     */
    void Init(GMainLoop* mainLoop);

    /**
     * Starts the run when a user is signed in, or checks again later, until the last of the checks. Returns
     * at once.
     * @throws std::exception when the run cannot be started
     */
    void Start();

    /** Gets a token, synchronises with it and quits the main loop. */
    void GetAccessToken();

    void Stop();

    /** Shuts Bluetooth down. */
    void Deinit();

private:
    bool IsFactoryReset();
    void ResetAllDatas();
    void ScheduleRetry();

    std::int32_t m_retryLimit = SIGN_IN_CHECKS;
    std::int32_t m_tryCount = 0;
    std::uint32_t m_retrySourceId = 0;
    GMainLoop* m_mainLoop = nullptr;
    std::unique_ptr<CAccessTokenManager> m_accessTokenManager;
    std::unique_ptr<CCloudServerManager> m_cloudServerManager;
    std::shared_ptr<CSsoManager> m_ssoManager;
};
