#include "tests/support/x11_windows.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <xcb/xcb.h>

#include <QGuiApplication>

namespace {

template <typename Reply>
using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

template <typename Reply>
Owned<Reply> owned(Reply *reply)
{
    return {reply, &std::free};
}

xcb_atom_t atom(xcb_connection_t *x, const char *name)
{
    const auto cookie = xcb_intern_atom(x, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
    const auto reply = owned(xcb_intern_atom_reply(x, cookie, nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

qint64 processOf(xcb_connection_t *x, xcb_window_t window)
{
    const auto cookie =
        xcb_get_property(x, 0, window, atom(x, "_NET_WM_PID"), XCB_ATOM_CARDINAL, 0, 1);
    const auto reply = owned(xcb_get_property_reply(x, cookie, nullptr));
    if (!reply || xcb_get_property_value_length(reply.get()) < 4)
        return 0;
    std::uint32_t pid = 0;
    std::memcpy(&pid, xcb_get_property_value(reply.get()), sizeof pid);
    return pid;
}

bool isShown(xcb_connection_t *x, xcb_window_t window)
{
    const auto reply =
        owned(xcb_get_window_attributes_reply(x, xcb_get_window_attributes(x, window), nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

void sendDelete(xcb_connection_t *x, xcb_window_t window)
{
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom(x, "WM_PROTOCOLS");
    message.data.data32[0] = atom(x, "WM_DELETE_WINDOW");
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(x, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char *>(&message));
}

// Top-level windows are the root's children, or deeper where a window manager frames them.
void collectShown(xcb_connection_t *x, xcb_window_t window, qint64 processId,
                  std::vector<xcb_window_t> &shown)
{
    if (processOf(x, window) == processId && isShown(x, window)) {
        shown.push_back(window);
        return;
    }
    const auto tree = owned(xcb_query_tree_reply(x, xcb_query_tree(x, window), nullptr));
    for (int i = 0; tree && i < xcb_query_tree_children_length(tree.get()); ++i)
        collectShown(x, xcb_query_tree_children(tree.get())[i], processId, shown);
}

std::vector<xcb_window_t> shownWindows(xcb_connection_t *x, qint64 processId)
{
    std::vector<xcb_window_t> shown;
    collectShown(x, xcb_setup_roots_iterator(xcb_get_setup(x)).data->root, processId, shown);
    return shown;
}

xcb_connection_t *connection()
{
    auto *native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return native ? native->connection() : nullptr;
}

} // namespace

bool askToClose(qint64 processId)
{
    xcb_connection_t *x = connection();
    if (!x)
        return false;
    const std::vector<xcb_window_t> windows = shownWindows(x, processId);
    for (const xcb_window_t window : windows)
        sendDelete(x, window);
    xcb_flush(x);
    return !windows.empty();
}

QByteArray windowClass(qint64 processId)
{
    xcb_connection_t *x = connection();
    const auto windows = x ? shownWindows(x, processId) : std::vector<xcb_window_t>();
    if (windows.empty())
        return {};
    const auto cookie =
        xcb_get_property(x, 0, windows.front(), XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64);
    const auto reply = owned(xcb_get_property_reply(x, cookie, nullptr));
    if (!reply)
        return {};
    // Two zero-terminated strings: the instance, then the class.
    const QByteArray both(static_cast<const char *>(xcb_get_property_value(reply.get())),
                          xcb_get_property_value_length(reply.get()));
    return both.split('\0').value(1);
}
