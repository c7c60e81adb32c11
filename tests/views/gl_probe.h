#pragma once

#include <cmath>

#include <QImage>
#include <QMatrix4x4>

#include "views/orbit_camera.h"

// Position in pixels at which the camera shows a world point, in an image of this size.
inline QPointF onImage(const OrbitCamera &camera, QSize size, QVector3D point)
{
    QMatrix4x4 matrix = camera.projection() * camera.viewRotation();
    matrix.translate(-camera.eye());
    const QVector3D seen = matrix.map(point);
    return {(static_cast<double>(seen.x()) + 1.0) * 0.5 * size.width(),
            (1.0 - static_cast<double>(seen.y())) * 0.5 * size.height()};
}

inline bool isNearColor(QRgb actual, QRgb expected)
{
    return std::abs(qRed(actual) - qRed(expected)) <= 3 &&
           std::abs(qGreen(actual) - qGreen(expected)) <= 3 &&
           std::abs(qBlue(actual) - qBlue(expected)) <= 3;
}

// Whether the pixel at this position or one next to it has the colour.
inline bool hasColorAt(const QImage &image, QPointF place, QRgb color)
{
    const int centreX = static_cast<int>(std::floor(place.x()));
    const int centreY = static_cast<int>(std::floor(place.y()));
    for (int y = centreY - 1; y <= centreY + 1; ++y) {
        for (int x = centreX - 1; x <= centreX + 1; ++x) {
            if (image.valid(x, y) && isNearColor(image.pixel(x, y), color))
                return true;
        }
    }
    return false;
}

// Number of pixels of this colour in the part of `area` that the image has.
inline int countPixels(const QImage &image, QRect area, QRgb color)
{
    const QRect inside = area & image.rect();
    int count = 0;
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        for (int x = inside.left(); x <= inside.right(); ++x)
            count += isNearColor(image.pixel(x, y), color) ? 1 : 0;
    }
    return count;
}

inline constexpr QRgb kClearColor = 0xff1a1a1f; // 0.1, 0.1, 0.12
inline constexpr QRgb kGridColor = 0xff404047;  // 0.25, 0.25, 0.28
inline constexpr QRgb kRed = 0xffff0000;
inline constexpr QRgb kGreen = 0xff00ff00;
inline constexpr QRgb kBlue = 0xff0000ff;
