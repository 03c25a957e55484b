/** The clock and the main loop, so that no test waits: delays are over at once, and a loop in which nothing
 * is left to do ends. */
#include <glib.h>

#include "FakePlatform.h"

/** GLib keeps its own to itself. */
struct _GMainLoop {  // NOLINT(bugprone-reserved-identifier): GLib's name
    bool quit = false;
};

namespace Fake {

void RunPending() {
    while (g_main_context_iteration(nullptr, FALSE) == TRUE) {
    }
}

bool LoopWasLeftWaiting() {
    return TheState().loopLeftWaiting;
}

}  // namespace Fake

extern "C" {

time_t time(time_t* out) noexcept {
    // As a kernel does it: a time_t that is too small gets what fits.
    const auto now = static_cast<time_t>(Fake::Tv().now);
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

guint g_idle_add(GSourceFunc function, gpointer data) {
    Fake::Note("> g_idle_add");
    return g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, function, data, nullptr);
}

gboolean g_source_remove(guint tag) {
    Fake::Note("> g_source_remove");
    g_source_destroy(g_main_context_find_source_by_id(nullptr, tag));
    return TRUE;
}

guint g_timeout_add_seconds(guint interval, GSourceFunc function, gpointer data) {
    Fake::Enter("g_timeout_add_seconds", std::to_string(interval));
    return g_timeout_add(0, function, data);
}

GMainLoop* g_main_loop_new(GMainContext* /*context*/, gboolean /*is_running*/) {
    Fake::Note("> g_main_loop_new");
    static GMainLoop loop;
    return &loop;
}

void g_main_loop_run(GMainLoop* loop) {
    Fake::Note("> g_main_loop_run");
    loop->quit = false;
    while (!loop->quit && g_main_context_iteration(nullptr, FALSE) == TRUE) {
    }
    Fake::TheState().loopLeftWaiting = !loop->quit;
}

void g_main_loop_quit(GMainLoop* loop) {
    Fake::Enter("g_main_loop_quit");
    loop->quit = true;
}

}  // extern "C"
