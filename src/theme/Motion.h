#pragma once

#include <QObject>

class QAbstractAnimation;
class QVariantAnimation;

namespace velmo::theme {

// The one switch of every interface animation. GUI thread only.

/// Tells when the switch turns.
class Motion : public QObject {
    Q_OBJECT

public:
    static Motion *instance();

signals:
    void animationsEnabledChanged(bool enabled);

private:
    Motion() = default;
};

bool animationsEnabled();
void setAnimationsEnabled(bool enabled);

/// Runs \a animation once from \a from to \a to; with animations off it delivers \a to at once. Null is ignored.
void animate(QVariantAnimation *animation, double from, double to, int durationMs);

/// Starts or stops an endless \a animation; with animations off it stays still. Null is ignored.
void setRunning(QAbstractAnimation *animation, bool run);

} // namespace velmo::theme
