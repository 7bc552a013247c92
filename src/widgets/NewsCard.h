#pragma once

#include "data/NewsArticle.h"

#include <QPixmap>
#include <QWidget>

class QVariantAnimation;

namespace velmo {

/// One article on the news list: its picture, or a pattern of its own, with category, title, summary and date. A large
/// form with the picture across the top, and a compact one with the picture at the left.
class NewsCard : public QWidget {
    Q_OBJECT

public:
    NewsCard(const NewsArticle &article, bool compact, QWidget *parent = nullptr);

signals:
    /// The card was clicked, or Return, Enter or the space bar was pressed on it.
    void activated(const QString &articleId);

protected:
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QRect imageArea() const;
    QRect textArea() const;
    void paintImage(QPainter &painter, const QRect &area);
    QPixmap buildImage(QSize size) const;
    void paintTexts(QPainter &painter) const;

    NewsArticle article_;
    bool compact_;
    QString dateLine_;   ///< kept, for the reading time comes from the whole body
    QPixmap picture_;    ///< as decoded; null when the article has none
    QPixmap imageCache_; ///< the image area at its present size; null when stale
    double hover_ = 0.0;
    QVariantAnimation *hoverAnim_;
};

} // namespace velmo
