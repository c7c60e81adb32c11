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

// The X screen as whoever sits before it has it: what is to be seen on it, and a mouse. It knows
// nothing of the program it looks at. One thread at a time; ends the process if there is no
// display.
class Screen
{
public:
    using Clock = std::chrono::steady_clock;
    using Pixels = std::vector<std::uint8_t>;

    Screen();

    Pixels look(const ScreenArea &area) const;
    // Until the area shows something else than `before`: what it shows then, and when. None within
    // the time.
    struct Change
    {
        Pixels after;
        Clock::time_point at;
    };
    std::optional<Change> awaitChange(const ScreenArea &area, const Pixels &before,
                                      std::chrono::milliseconds patience) const;

    // A window of at least that size that is shown on top level, if there is one by now.
    std::optional<ScreenArea> shownWindow(int width, int height) const;

    void point(int x, int y) const;
    // Presses the left button and releases it. Returns the moment before.
    Clock::time_point click() const;

private:
    struct Disconnect
    {
        void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
    };

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    xcb_window_t m_root = XCB_NONE;
};
