/** Runs the HTTP library's accept loop on a thread, for as long as it lives. */
#pragma once

#include <httplib.h>

#include <chrono>
#include <functional>
#include <thread>
#include <utility>

namespace LocalCloud {

class Listening {
public:
    /** The server is bound already. ended is called on the thread when the loop is over, however it ended. */
    Listening(httplib::Server& server, std::function<void()> ended)
        : m_server(server), m_thread([&server, ended = std::move(ended)] {
              server.listen_after_bind();
              ended();
          }) {
        // To stop a server that does not run yet would have no effect.
        while (!server.is_running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    ~Listening() {
        m_server.stop();
        m_thread.join();
    }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

private:
    httplib::Server& m_server;
    std::thread m_thread;
};

}  // namespace LocalCloud
