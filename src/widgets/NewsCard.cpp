#include "widgets/NewsCard.h"

#include "core/Format.h"
#include "theme/Fonts.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "theme/ResourcePath.h"
#include "widgets/DeviceSize.h"
#include "widgets/Picture.h"

#include <QEasingCurve>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>
#include <QResizeEvent>
#include <QVariantAnimation>

#include <algorithm>
#include <cmath>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int hoverMs = 110;
constexpr int compactHeight = 116;
constexpr int largeHeight = 300;
constexpr int imageExtent = 168; // the width of a compact card's image, the height of a large one's
constexpr int markerWidth = 2;
constexpr int waveStep = 16;
constexpr int waves = 5;

/// As much of \a text as can be seen in \a lines of \a width pixels, at one for each letter, which takes several as a
/// rule. Only marks that stand above or below another letter take none, and a text of little else may lose some of
/// them. The rest of a text that is far too long would be laid out at every paint for nobody.
QString seenPart(const QString &text, int width, int lines = 1)
{
    return text.left(static_cast<qsizetype>(std::max(width, 1)) * lines);
}

/// \a picture over the whole of \a target device pixels, centred, what is too much cut off.
void drawCovering(QPainter &painter, const QPixmap &picture, QSize pixels, QSizeF target)
{
    const QPixmap scaled = picture.scaled(pixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    painter.drawPixmap(static_cast<int>((target.width() - scaled.width()) * 0.5),
                       static_cast<int>((target.height() - scaled.height()) * 0.5), scaled);
}

/// Waves on a dusk ground. The seed is the article's own, and the order of draws is part of the design.
void drawPattern(QPainter &painter, QSize size, const QString &seedText)
{
    QRandomGenerator random(static_cast<quint32>(qHash(seedText, 0)));
    const int shift = static_cast<int>(random.generateDouble() * 18.0);
    QLinearGradient ground(QPointF(0, 0), QPointF(size.width(), size.height()));
    ground.setColorAt(0.0, QColor(18 + shift, 32 + shift, 52 + shift));
    ground.setColorAt(1.0, QColor(7, 15, 28));
    painter.fillRect(QRect(QPoint(0, 0), size), ground);

    painter.setPen(QPen(theme::withAlpha(color::accent, 0.1), 1.0, Qt::SolidLine));
    painter.setBrush(Qt::NoBrush);
    for (int i = 0; i < waves; ++i) {
        const int base = static_cast<int>(size.height() * (i * 0.16 + 0.25));
        const int amplitude = 6 + static_cast<int>(random.generateDouble() * 10);
        QPainterPath wave(QPointF(0, base));
        for (int x = 0; x <= size.width(); x += waveStep) {
            wave.lineTo(x, base + std::sin((i * 40 + x) / 46.0) * amplitude);
        }
        painter.drawPath(wave);
    }
}

} // namespace

NewsCard::NewsCard(const NewsArticle &article, bool compact, QWidget *parent)
    : QWidget(parent)
    , article_(article)
    , compact_(compact)
    , dateLine_(u"%1   ·   %2 MIN READ"_s.arg(formatDate(article.date).toUpper()).arg(article.readingMinutes()))
    , hoverAnim_(new QVariantAnimation(this))
{
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFixedHeight(compact_ ? compactHeight : largeHeight);
    setAccessibleName(article_.title);
    setAccessibleDescription(article_.summary);
    // To look for a file of another host is to call that host, and to offer it who the player is.
    if (!article_.image.isEmpty() && !theme::isNetworkPath(article_.image)) {
        picture_ = loadPicture(article_.image);
    }
    hoverAnim_->setDuration(hoverMs);
    hoverAnim_->setEasingCurve(QEasingCurve::OutCubic);
    connect(hoverAnim_, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        hover_ = value.toDouble();
        update();
    });
}

void NewsCard::enterEvent(QEnterEvent *event)
{
    QWidget::enterEvent(event);
    theme::animate(hoverAnim_, hover_, 1.0, hoverMs);
}

void NewsCard::leaveEvent(QEvent *event)
{
    QWidget::leaveEvent(event);
    theme::animate(hoverAnim_, hover_, 0.0, hoverMs);
}

void NewsCard::keyPressEvent(QKeyEvent *event)
{
    const int key = event->key();
    if (key != Qt::Key_Return && key != Qt::Key_Enter && key != Qt::Key_Space) {
        QWidget::keyPressEvent(event);
        return;
    }
    if (!event->isAutoRepeat()) {
        emit activated(article_.id);
    }
}

void NewsCard::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) {
        emit activated(article_.id);
    }
    QWidget::mouseReleaseEvent(event);
}

void NewsCard::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (event->size() != event->oldSize()) {
        imageCache_ = QPixmap();
    }
}

void NewsCard::paintEvent(QPaintEvent * /*event*/)
{
    const bool hovered = hover_ > 0.0;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(rect(), hovered ? theme::mix(color::panel, color::panelRaised, hover_) : color::panel);
    paintImage(painter, imageArea());
    painter.setPen(hovered ? color::borderStrong : color::border);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    if (hovered) {
        const int bar = static_cast<int>(height() * hover_);
        painter.fillRect(0, (height() - bar) / 2, markerWidth, bar, color::accent);
    }
    paintTexts(painter);
    if (hasFocus()) {
        painter.setPen(color::accent);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(rect().adjusted(3, 3, -4, -4));
    }
}

QRect NewsCard::imageArea() const
{
    return compact_ ? QRect(0, 0, imageExtent, height()) : QRect(0, 0, width(), imageExtent);
}

QRect NewsCard::textArea() const
{
    return compact_ ? QRect(188, 16, width() - 208, height() - 32) : QRect(20, 184, width() - 40, height() - 188);
}

void NewsCard::paintImage(QPainter &painter, const QRect &area)
{
    if (area.isEmpty()) {
        return;
    }
    if (imageCache_.isNull()) {
        imageCache_ = buildImage(area.size());
    }
    painter.drawPixmap(area, imageCache_);
    // A slightly warm black, so that whatever the picture is sinks into the card.
    QLinearGradient shade(QPointF(area.left(), area.bottom() - area.height() * 0.5),
                          QPointF(area.left(), area.bottom()));
    shade.setColorAt(0.0, QColor(11, 10, 9, 0));
    shade.setColorAt(1.0, QColor(11, 10, 9, 160));
    painter.fillRect(area, shade);
}

QPixmap NewsCard::buildImage(QSize size) const
{
    const double ratio = devicePixelRatioF();
    const QSize pixels = deviceSize(size, ratio);
    QPixmap image(pixels);
    image.setDevicePixelRatio(ratio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    if (picture_.isNull()) {
        drawPattern(painter, size, article_.id.isEmpty() ? article_.title : article_.id);
    } else {
        drawCovering(painter, picture_, pixels, QSizeF(size) * ratio);
    }
    return image;
}

void NewsCard::paintTexts(QPainter &painter) const
{
    const QRect area = textArea();
    const int left = area.left();
    const int width = area.width();
    constexpr Qt::Alignment middleLeft = Qt::AlignLeft | Qt::AlignVCenter;
    int y = area.top();
    if (!article_.category.isEmpty()) {
        const QFont font = theme::displayFont(9, QFont::DemiBold, 2.0);
        const int height = QFontMetrics(font).height();
        painter.setPen(color::accent);
        painter.setFont(font);
        painter.drawText(QRect(left, y, width, height), middleLeft, seenPart(article_.category, width));
        y += height + 8;
    }

    const QFont titleFont = theme::titleFont(compact_ ? 17 : 22);
    const QFontMetrics titleMetrics(titleFont);
    painter.setPen(color::text);
    painter.setFont(titleFont);
    painter.drawText(QRect(left, y, width, titleMetrics.height()), middleLeft,
                     titleMetrics.elidedText(seenPart(article_.title, width), Qt::ElideRight, width));
    y += titleMetrics.height();

    const QFont summaryFont = theme::bodyFont(12, QFont::Normal);
    const QFontMetrics summaryMetrics(summaryFont);
    const int room = area.bottom() - y - summaryMetrics.height() - 10;
    if (room > 0) {
        const int lines =
            room / summaryMetrics.lineSpacing() + 2; // the last whole one, one cut off, and one to wrap to
        painter.setPen(color::textMuted);
        painter.setFont(summaryFont);
        painter.drawText(QRect(left, y + 6, width, room), Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap,
                         seenPart(article_.summary, width, lines));
    }

    const QFont dateFont = theme::monoFont(10, QFont::Normal, 0.6);
    const int dateHeight = QFontMetrics(dateFont).height();
    painter.setPen(color::textDim);
    painter.setFont(dateFont);
    painter.drawText(QRect(left, area.bottom() - dateHeight, width, dateHeight), middleLeft, dateLine_);
}

} // namespace velmo
