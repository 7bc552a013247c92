#include "pages/ArticleBody.h"

#include "pages/PageParts.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"

#include <QEvent>
#include <QLabel>
#include <QVBoxLayout>
#include <QWidget>

#include <algorithm>
#include <memory>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

// What is built in one turn: so many blocks, and no more once there are so many letters. The first ones are more than a
// window shows, and are all that a usual article has.
constexpr qsizetype firstBlocks = 100;
constexpr qsizetype firstLetters = 30'000;
constexpr qsizetype pieceBlocks = 20;
constexpr qsizetype pieceLetters = 10'000;
constexpr qsizetype longestBlock = 20'000; // some twenty windows full; nobody writes a longer paragraph
constexpr int bulletWidth = 690;

/// As much of a block as can be laid out in one turn, with an ellipsis for the rest.
QString boundedText(const QString &text)
{
    if (text.size() <= longestBlock) {
        return text;
    }
    QString cut = text.left(longestBlock - 1);
    if (cut.back().isHighSurrogate()) {
        cut.chop(1);
    }
    return cut + u'…';
}

/// A wrapped label whose text and width stay. Its size is worked out once, and not at every change of a layout that
/// holds thousands of these.
class BodyLabel : public QLabel {
public:
    BodyLabel(const QString &text, const QFont &font, const QColor &color, int width, QWidget *parent)
        : QLabel(text, parent)
    {
        dressLabel(this, font, color);
        setReadingWidth(this, width);
    }

    bool hasHeightForWidth() const override { return false; }
    QSize minimumSizeHint() const override { return sizeHint(); }
    QSize sizeHint() const override
    {
        if (size_.isEmpty()) {
            ensurePolished(); // the style has a say in the height, and asks nobody to measure again
            size_ = QSize(minimumWidth(), heightForWidth(minimumWidth()));
        }
        return size_;
    }

protected:
    bool event(QEvent *event) override
    {
        const bool measuresAnew = event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange ||
                                  event->type() == QEvent::ScreenChangeInternal;
        if (measuresAnew) {
            size_ = QSize();
        }
        return QLabel::event(event);
    }

private:
    mutable QSize size_; ///< empty until it is worked out
};

QLabel *makeBodyLabel(const QString &text, int width, QWidget *parent)
{
    auto *label = new BodyLabel(text, theme::bodyFont(13, QFont::Normal), color::textMuted, width, parent);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    return label;
}

QWidget *makeBullet(const QString &text, QWidget *parent)
{
    auto *bullet = new QWidget(parent);
    auto *row = new QHBoxLayout(bullet);
    row->setContentsMargins(2, 0, 0, 0);
    row->setSpacing(12);
    QLabel *marker = makeLabel(u"—"_s, theme::bodyFont(13, QFont::Normal), color::accentDim, bullet);
    marker->setFixedWidth(14);
    marker->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    row->addWidget(marker, 0, Qt::AlignTop);
    row->addWidget(makeBodyLabel(text, bulletWidth, bullet), 1);
    return bullet;
}

void addBlock(QVBoxLayout *layout, const ArticleBlock &block)
{
    QWidget *parent = layout->parentWidget();
    const QString text = boundedText(block.text);
    switch (block.kind) {
    case ArticleBlock::Paragraph: {
        QLabel *paragraph = makeBodyLabel(text, readingWidth, parent);
        paragraph->setTextInteractionFlags(Qt::TextSelectableByMouse);
        layout->addWidget(paragraph);
        layout->addSpacing(16);
        break;
    }
    case ArticleBlock::Heading: {
        auto *heading =
            new BodyLabel(text, theme::displayFont(13, QFont::DemiBold, 2.0), color::accent, readingWidth, parent);
        layout->addSpacing(24);
        layout->addWidget(heading);
        layout->addSpacing(12);
        break;
    }
    case ArticleBlock::Bullet:
        layout->addWidget(makeBullet(text, parent));
        layout->addSpacing(6);
        break;
    }
}

} // namespace

ArticleBody::ArticleBody(QVBoxLayout *column)
    : QObject(column->parentWidget())
    , column_(column)
{
    // Without an interval: one step in each turn of the event loop, and what the player does comes in between.
    connect(&steps_, &QTimer::timeout, this, &ArticleBody::takeStep);
}

void ArticleBody::setBlocks(const QList<ArticleBlock> &blocks)
{
    clear();
    blocks_ = blocks;
    next_ = 0;
    addBlocks(column_, firstBlocks, firstLetters);
    steps_.start();
}

void ArticleBody::stop()
{
    blocks_.clear();
    next_ = 0;
}

void ArticleBody::clear()
{
    for (QWidget *piece : std::as_const(pieces_)) {
        column_->removeWidget(piece);
        piece->hide();
    }
    formerPieces_.append(std::exchange(pieces_, {}));
    while (column_->count() > 0) {
        const std::unique_ptr<QLayoutItem> item(column_->takeAt(0));
        if (item->widget()) {
            item->widget()->deleteLater();
        }
    }
}

void ArticleBody::takeStep()
{
    if (next_ < blocks_.size()) {
        addPiece();
    } else if (!formerPieces_.isEmpty()) {
        formerPieces_.takeLast()->deleteLater();
    } else {
        stop();
        steps_.stop();
    }
}

/// At least one block, at most \a count, and none behind the one that completes \a letters.
void ArticleBody::addBlocks(QVBoxLayout *layout, qsizetype count, qsizetype letters)
{
    const qsizetype end = std::min(next_ + count, blocks_.size());
    for (; next_ < end && letters > 0; ++next_) {
        const ArticleBlock &block = blocks_.at(next_);
        addBlock(layout, block);
        letters -= std::min(block.text.size(), longestBlock);
    }
}

/// Each piece has a layout of its own, for a layout reckons with all that it holds at every change.
void ArticleBody::addPiece()
{
    auto *piece = new QWidget(column_->parentWidget());
    auto *layout = new QVBoxLayout(piece);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    addBlocks(layout, pieceBlocks, pieceLetters);
    column_->addWidget(piece);
    piece->show();
    pieces_.append(piece);
}

} // namespace velmo
