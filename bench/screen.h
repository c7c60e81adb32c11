#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <xcb/xcb.h>

// A part of the screen, in pixels of the root window.
struct ScreenArea
{
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

// Reads the pixels of the X screen and simulates a mouse, independent of the program under test.
// One thread at a time. Ends the process if there is no display.
class Screen
{
public:
    using Clock = std::chrono::steady_clock;
    using Pixels = std::vector<std::uint8_t>;

    Screen();

    Pixels look(const ScreenArea &area) const;
    // Waits until the area differs from `before`. Returns its new pixels and the time of the
    // change; none if it does not change within `timeout`.
    struct Change
    {
        Pixels after;
        Clock::time_point at;
    };
    std::optional<Change> awaitChange(const ScreenArea &area, const Pixels &before,
                                      std::chrono::milliseconds timeout) const;

    // A visible top-level window of at least that size, if there is one.
    std::optional<ScreenArea> shownWindow(int width, int height) const;

    void point(int x, int y) const;
    // Presses and releases the left button. Returns the time just before.
    Clock::time_point click() const;

private:
    struct Disconnect
    {
        void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
    };

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    xcb_window_t m_root = XCB_NONE;
};
