#pragma once

// Ellipsoids of known shape and readings on them. The same seed gives the same data.

#include <algorithm>
#include <cstdint>
#include <random>

#include <Eigen/Dense>

#include "fit/ellipsoid_fit.h"

// Half axes along the columns of `rotation`, centred at `centre`.
struct MadeEllipsoid
{
    Eigen::Vector3d halfAxes = Eigen::Vector3d::Ones();
    Eigen::Matrix3d rotation = Eigen::Matrix3d::Identity();
    Eigen::Vector3d centre = Eigen::Vector3d::Zero();

    Eigen::Matrix3d shape() const
    {
        return rotation * halfAxes.cwiseAbs2().cwiseInverse().asDiagonal() * rotation.transpose();
    }
};

class Maker
{
public:
    explicit Maker(std::uint64_t seed)
        : m_random(seed)
    {
    }

    double uniform(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(m_random);
    }

    Eigen::Vector3d normal()
    {
        return {m_normal(m_random), m_normal(m_random), m_normal(m_random)};
    }

    Eigen::Matrix3d rotation()
    {
        const Eigen::Vector4d parts(m_normal(m_random), m_normal(m_random), m_normal(m_random),
                                    m_normal(m_random));
        return Eigen::Quaterniond(parts.normalized()).toRotationMatrix();
    }

    // Random half axes within 0.7 to 1.3 times the size; the centre is up to 0.6 times the size
    // from the origin.
    MadeEllipsoid ellipsoid(double size = 1)
    {
        const auto axis = [&] { return size * uniform(0.7, 1.3); };
        const auto offset = [&] { return size * uniform(-0.6, 0.6); };
        return {{axis(), axis(), axis()}, rotation(), {offset(), offset(), offset()}};
    }

    // Uniform over directions; noise is the standard deviation per axis.
    ellipsoid::Readings samples(const MadeEllipsoid &on, int count, double noise = 0)
    {
        ellipsoid::Readings made;
        for (int i = 0; i < count; ++i) {
            const Eigen::Vector3d direction = normal().normalized();
            const Eigen::Vector3d point =
                on.centre + on.rotation * on.halfAxes.cwiseProduct(direction) + noise * normal();
            const Eigen::Vector3f reading = point.cast<float>();
            made.push_back({reading.x(), reading.y(), reading.z()});
        }
        return made;
    }

    void shuffle(ellipsoid::Readings &samples)
    {
        std::shuffle(samples.begin(), samples.end(), m_random);
    }

private:
    std::mt19937_64 m_random;
    std::normal_distribution<double> m_normal;
};

inline Eigen::Matrix3d rotationAbout(const Eigen::Vector3d &axis, double degrees)
{
    return Eigen::AngleAxisd(degrees * M_PI / 180, axis.normalized()).toRotationMatrix();
}

inline ellipsoid::Correction correctionFor(const ellipsoid::Fit &fit)
{
    return ellipsoid::deriveCorrection(fit.shape, fit.centre);
}
