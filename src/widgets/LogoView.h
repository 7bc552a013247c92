#pragma once

#include <QPixmap>
#include <QWidget>

namespace velmo {

/// One raster wordmark at an exact logical height, as wide as its shape asks. Never takes the mouse, and drags the
/// window where it lies in a caption.
class LogoView : public QWidget {
    Q_OBJECT

public:
    explicit LogoView(QWidget *parent = nullptr);

    /// Loads \a path, a resource or a file that resolveResourcePath finds, for \a height logical pixels and the present
    /// device pixel ratio. A missing image leaves a widget without width.
    void setLogo(const QString &path, int height);
    /// The image at full size; null when none could be loaded.
    const QPixmap &sourcePixmap() const { return source; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void load(const QString &path);
    void fitToHeight();

    QPixmap source;
    QPixmap scaled;
    int targetHeight = 24;
    double opacity = 1.0;
};

} // namespace velmo
