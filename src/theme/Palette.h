#pragma once

#include <QColor>
#include <QString>

namespace velmo::theme {

/// The whole palette. The stylesheet names each colour "@" and its name here.
namespace color {

inline constexpr QColor ink{0x0b, 0x0e, 0x14};         ///< window and page ground; text on accent fills
inline constexpr QColor panel{0x12, 0x17, 0x1f};       ///< panel ground
inline constexpr QColor panelRaised{0x1a, 0x21, 0x2b}; ///< tooltips, pop-up lists
inline constexpr QColor panelSunken{0x08, 0x0b, 0x10}; ///< input wells, slider groove
inline constexpr QColor border{0x20, 0x27, 0x33};      ///< hairlines, dividers, scroll handles
inline constexpr QColor borderStrong{0x30, 0x3a, 0x49};
inline constexpr QColor text{0xe8, 0xeb, 0xf0};
inline constexpr QColor textMuted{0x9a, 0xa4, 0xb4}; ///< body copy
inline constexpr QColor textDim{0x67, 0x71, 0x81};   ///< captions, meta text, disabled text
inline constexpr QColor accent{0x6b, 0x9b, 0xd4};    ///< focus, selection, links, checked state
inline constexpr QColor accentBright{0x9c, 0xc1, 0xe8};
inline constexpr QColor accentDim{0x2b, 0x3b, 0x51};
inline constexpr QColor action{0xec, 0xef, 0xf4}; ///< fill of the primary button
inline constexpr QColor actionHover{0xff, 0xff, 0xff};
inline constexpr QColor online{0x63, 0xa5, 0x7f};
inline constexpr QColor warning{0xc8, 0x8a, 0x52};
inline constexpr QColor danger{0xc2, 0x50, 0x48};
inline constexpr QColor dangerHover{0xd7, 0x62, 0x59};

} // namespace color

/// "#rrggbb".
QString colorName(const QColor &color);

/// \a base at the opacity \a alpha, 0 to 1.
QColor withAlpha(QColor base, double alpha);

/// \a from blended towards \a to by \a t, which is held between 0 and 1; always opaque.
QColor mix(const QColor &from, const QColor &to, double t);

} // namespace velmo::theme
