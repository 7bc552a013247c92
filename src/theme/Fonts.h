#pragma once

#include <QFont>
#include <QString>
#include <QStringList>

namespace velmo::theme {

// The families are chosen on first use and stay for the life of the process, so the program's own fonts are loaded
// before any of these is called. GUI thread only.

QString titleFamily();
QString displayFamily();
QString bodyFamily();
QString monoFamily();

QFont bodyFont(int pixelSize, int weight);
/// \a tracking is a design value, not pixels: 1.0 spaces letters by 0.18 px, and no more than 0.35 px is ever used.
QFont displayFont(int pixelSize, int weight, double tracking);
/// Bold and tightened, more so from 28 px on.
QFont titleFont(int pixelSize);
/// \a spacing between letters in pixels.
QFont monoFont(int pixelSize, int weight, double spacing);

/// The families to look for, the preferred one first: for titles, display and body text, and for figures and paths.
const QStringList &sansChain();
const QStringList &monoChain();
/// The first of \a chain that \a installed holds in any letter case, else \a lastResort.
QString pickFamily(const QStringList &chain, const QStringList &installed, const QString &lastResort);

/// Registers every font file of the resources' "fonts" folder; none there is no failure.
void loadBundledFonts();

} // namespace velmo::theme
