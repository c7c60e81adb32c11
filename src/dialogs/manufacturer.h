#pragma once

#include <QtGlobal>

// The maker of the device, as shown in the about box and the user guide. All addresses and numbers
// are reserved for examples; a maker who ships this program replaces them.
namespace manufacturer {

inline constexpr const char *kWebsite = "https://www.example.com";
inline constexpr const char *kWebsiteShown = "www.example.com";
inline constexpr const char *kEmail = "info@example.com";
inline constexpr const char *kPhone = "+1-555-0100";
inline constexpr const char *kHeadquarters = "1 Example Avenue, Springfield, USA";
inline constexpr const char *kEuBranch = "2 Example Street, 1000 Brussels, Belgium";
inline constexpr const char *kTechnologyPark =
    "Example Technology Park, Building 3, Ankara, Turkey";

// Translated in the context of the about box.
inline constexpr const char *kNameAndTagline =
    QT_TRANSLATE_NOOP("AboutDialog", "Kestrova - Inertial sensing that holds its heading");

} // namespace manufacturer
