#include "bench/screen.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <xcb/xtest.h>

namespace {

// Short enough for the resolution of the figures, long enough not to slow down the X server.
constexpr std::chrono::microseconds kPause{500};

template <typename Reply>
using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

template <typename Reply>
Owned<Reply> owned(Reply *reply)
{
    return {reply, &std::free};
}

} // namespace

Screen::Screen()
    : m_connection(xcb_connect(nullptr, nullptr))
{
    if (xcb_connection_has_error(m_connection.get()) != 0) {
        std::fprintf(stderr, "no X display\n");
        std::exit(1);
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection.get())).data->root;
}

Screen::Pixels Screen::look(const ScreenArea &area) const
{
    xcb_connection_t *x = m_connection.get();
    const auto cookie =
        xcb_get_image(x, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root, static_cast<std::int16_t>(area.x),
                      static_cast<std::int16_t>(area.y), static_cast<std::uint16_t>(area.width),
                      static_cast<std::uint16_t>(area.height), ~0U);
    const auto image = owned(xcb_get_image_reply(x, cookie, nullptr));
    if (!image)
        return {};
    const std::uint8_t *data = xcb_get_image_data(image.get());
    return {data, data + xcb_get_image_data_length(image.get())};
}

std::optional<Screen::Change> Screen::awaitChange(const ScreenArea &area, const Pixels &before,
                                                  std::chrono::milliseconds timeout) const
{
    const auto end = Clock::now() + timeout;
    while (Clock::now() < end) {
        Pixels now = look(area);
        const auto at = Clock::now();
        if (now != before)
            return Change{std::move(now), at};
        std::this_thread::sleep_for(kPause);
    }
    return std::nullopt;
}

std::optional<ScreenArea> Screen::shownWindow(int width, int height) const
{
    xcb_connection_t *x = m_connection.get();
    const auto tree = owned(xcb_query_tree_reply(x, xcb_query_tree(x, m_root), nullptr));
    if (!tree)
        return std::nullopt;
    const xcb_window_t *children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        const auto attributes = owned(
            xcb_get_window_attributes_reply(x, xcb_get_window_attributes(x, children[i]), nullptr));
        const auto geometry =
            owned(xcb_get_geometry_reply(x, xcb_get_geometry(x, children[i]), nullptr));
        if (attributes && geometry && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
            geometry->width >= width && geometry->height >= height)
            return ScreenArea{geometry->x, geometry->y, geometry->width, geometry->height};
    }
    return std::nullopt;
}

void Screen::point(int x, int y) const
{
    xcb_test_fake_input(m_connection.get(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, m_root,
                        static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 0);
    xcb_flush(m_connection.get());
}

Screen::Clock::time_point Screen::click() const
{
    const auto begin = Clock::now();
    constexpr std::array<std::uint8_t, 2> kEvents{XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE};
    for (const std::uint8_t event : kEvents)
        xcb_test_fake_input(m_connection.get(), event, XCB_BUTTON_INDEX_1, XCB_CURRENT_TIME, m_root,
                            0, 0, 0);
    xcb_flush(m_connection.get());
    return begin;
}
