#pragma once

#include <QPixmap>
#include <QString>
#include <QWidget>

namespace velmo {

/// The art behind the home page: the game's hero picture, cropped to cover, or a dusk scene that is drawn by the
/// program and is the same at every start. Dark gradients over either keep the text in front readable.
class HeroBanner : public QWidget {
    Q_OBJECT

public:
    explicit HeroBanner(QWidget *parent = nullptr);

    /// The picture to show; an empty path, or one without a picture, gives the generated scene.
    void setArtworkPath(const QString &path);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QPixmap coveringArtwork() const;
    QPixmap generatedScene(QSize size) const;
    void paintOverlay(QPainter &painter) const;

    QString artworkPath_;
    QPixmap artwork_; ///< as decoded; null when there is none
    QPixmap cached_;  ///< the background at the present size, without the overlay; null when stale
    double overlayStrength_ = 1.0;
};

} // namespace velmo
