#include "Bluez.h"

#include <gio/gio.h>

#include <memory>
#include <stdexcept>

namespace {

using Bluez::Devices;

constexpr int TIMEOUT_MS = 5000;

template <typename Type>
struct Unref {
    void operator()(Type* object) const {
        g_object_unref(object);
    }
};
template <typename Type>
using Object = std::unique_ptr<Type, Unref<Type>>;
using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

[[noreturn]] void Fail(const std::string& what, GError* error) {
    const std::unique_ptr<GError, decltype(&g_error_free)> owned(error, &g_error_free);
    const bool late = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE ||
                      g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE;
    g_dbus_error_strip_remote_error(error);
    throw std::runtime_error(what + ": " + (late ? "no answer within 5 seconds" : error->message));
}

/** Runs asynchronous calls to their end on a main context of their own, so that the process's own stands
 * still. */
class PrivateLoop {
public:
    PrivateLoop() : m_context(g_main_context_new()), m_cancellable(g_cancellable_new()) {
        g_main_context_push_thread_default(m_context);
    }
    ~PrivateLoop() {
        g_main_context_pop_thread_default(m_context);
        g_main_context_unref(m_context);
    }
    PrivateLoop(const PrivateLoop&) = delete;
    PrivateLoop& operator=(const PrivateLoop&) = delete;

    GCancellable* Cancellable() {
        return m_cancellable.get();
    }

    /** The call's result; the call is cancelled when the time is up. */
    Object<GAsyncResult> Wait() {
        GSource* timer = g_timeout_source_new(TIMEOUT_MS);
        g_source_set_callback(timer, &OnTimeUp, m_cancellable.get(), nullptr);
        g_source_attach(timer, m_context);
        while (m_result == nullptr) {
            g_main_context_iteration(m_context, TRUE);
        }
        g_source_destroy(timer);
        g_source_unref(timer);
        return std::move(m_result);
    }

    static void OnDone(GObject* /*source*/, GAsyncResult* result, gpointer loop) {
        static_cast<PrivateLoop*>(loop)->m_result.reset(G_ASYNC_RESULT(g_object_ref(result)));
    }

private:
    static gboolean OnTimeUp(gpointer cancellable) {
        g_cancellable_cancel(G_CANCELLABLE(cancellable));
        return G_SOURCE_REMOVE;
    }

    GMainContext* m_context;
    Object<GCancellable> m_cancellable;
    Object<GAsyncResult> m_result;
};

/** A connection of our own: the process's shared one would end the process with the bus. */
Object<GDBusConnection> Connect(PrivateLoop& loop) {
    GError* error = nullptr;
    const std::unique_ptr<char, decltype(&g_free)> address(
        g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error), &g_free);
    if (!address) {
        Fail("no system D-Bus", error);
    }
    constexpr auto FLAGS = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    g_dbus_connection_new_for_address(address.get(), FLAGS, nullptr, loop.Cancellable(), &PrivateLoop::OnDone,
                                      &loop);
    Object<GDBusConnection> connection(g_dbus_connection_new_for_address_finish(loop.Wait().get(), &error));
    if (!connection) {
        Fail("no system D-Bus", error);
    }
    return connection;
}

/** An object's interfaces by object path, each with its properties. */
Variant GetManagedObjects(GDBusConnection* connection, PrivateLoop& loop) {
    // Asking must not start a system service.
    g_dbus_connection_call(connection, "org.bluez", "/", "org.freedesktop.DBus.ObjectManager",
                           "GetManagedObjects", nullptr, G_VARIANT_TYPE("(a{oa{sa{sv}}})"),
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, TIMEOUT_MS, loop.Cancellable(),
                           &PrivateLoop::OnDone, &loop);
    GError* error = nullptr;
    Variant answer(g_dbus_connection_call_finish(connection, loop.Wait().get(), &error), &g_variant_unref);
    if (!answer) {
        Fail("BlueZ (org.bluez)", error);
    }
    return answer;
}

Variant Member(GVariant* dictionary, const char* name, const char* type) {
    return {g_variant_lookup_value(dictionary, name, G_VARIANT_TYPE(type)), &g_variant_unref};
}

/** An older BlueZ has no Bonded; there, what is paired is bonded. */
bool IsBonded(GVariant* device) {
    Variant flag = Member(device, "Bonded", "b");
    if (!flag) {
        flag = Member(device, "Paired", "b");
    }
    return flag != nullptr && g_variant_get_boolean(flag.get()) != FALSE;
}

void AddDevice(GVariant* device, Devices& devices) {
    const Variant address = Member(device, "Address", "s");
    if (address) {
        const std::unique_ptr<char, decltype(&g_free)> upper(
            g_ascii_strup(g_variant_get_string(address.get(), nullptr), -1), &g_free);
        // Two adapters may know the same device.
        bool& bonded = devices[upper.get()];
        bonded = bonded || IsBonded(device);
    }
}

}  // namespace

void infosync_bluez_read_devices(Devices& devices) {
    PrivateLoop loop;
    const Object<GDBusConnection> connection = Connect(loop);
    const Variant answer = GetManagedObjects(connection.get(), loop);
    const Variant objects(g_variant_get_child_value(answer.get(), 0), &g_variant_unref);

    bool hasAdapter = false;
    for (gsize i = 0; i < g_variant_n_children(objects.get()); ++i) {
        const Variant entry(g_variant_get_child_value(objects.get(), i), &g_variant_unref);
        const Variant interfaces(g_variant_get_child_value(entry.get(), 1), &g_variant_unref);
        hasAdapter = hasAdapter || Member(interfaces.get(), "org.bluez.Adapter1", "a{sv}") != nullptr;
        const Variant device = Member(interfaces.get(), "org.bluez.Device1", "a{sv}");
        if (device) {
            AddDevice(device.get(), devices);
        }
    }
    if (!hasAdapter) {
        throw std::runtime_error("BlueZ has no Bluetooth adapter");
    }
}
