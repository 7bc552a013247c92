#pragma once

#include "data/NewsArticle.h"

#include <QList>
#include <QObject>
#include <QTimer>

class QVBoxLayout;
class QWidget;

namespace velmo {

/// Fills a column with the blocks of an article. The first ones stand at once; those of a very long article follow in
/// pieces from the event loop, so that none of them holds up the player. What an article before it left is cleared away
/// in pieces too.
class ArticleBody : public QObject {
    Q_OBJECT

public:
    /// Becomes a child of the widget that \a column lies on.
    explicit ArticleBody(QVBoxLayout *column);

    /// Replaces what the column holds by \a blocks.
    void setBlocks(const QList<ArticleBlock> &blocks);
    /// Leaves out what does not stand yet.
    void stop();

private:
    void clear();
    void takeStep();
    void addBlocks(QVBoxLayout *layout, qsizetype count, qsizetype letters);
    void addPiece();

    QVBoxLayout *column_;
    QList<ArticleBlock> blocks_;    ///< of the article, while some of them are still to come
    qsizetype next_ = 0;            ///< the first one to come
    QList<QWidget *> pieces_;       ///< what follows the first blocks in the column
    QList<QWidget *> formerPieces_; ///< of articles before this one, hidden until they are deleted
    QTimer steps_;
};

} // namespace velmo
