#include "widgets/SettingRow.h"

#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Stylesheet.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

/// What the player uses of \a control: itself, or in a group of widgets the first that takes the focus.
QWidget *usedPart(QWidget *control)
{
    if (control->focusPolicy() != Qt::NoFocus) {
        return control;
    }
    const QList<QWidget *> parts = control->findChildren<QWidget *>();
    const auto used = std::find_if(parts.begin(), parts.end(),
                                   [](const QWidget *part) { return part->focusPolicy() != Qt::NoFocus; });
    return used == parts.end() ? control : *used;
}

/// Tells screen readers that \a control belongs to the setting \a name.
void nameControl(QWidget *control, const QString &name)
{
    if (qobject_cast<QLabel *>(control)) {
        control->setAccessibleDescription(name); // a name would take the place of the value that it shows
    } else {
        usedPart(control)->setAccessibleName(name);
    }
}

} // namespace

SettingRow::SettingRow(const QString &label, const QString &description, QWidget *parent)
    : QWidget(parent)
    , label_(new QLabel(label, this))
    , description_(new QLabel(description, this))
    , plannedTag_(new QLabel(u"Planned"_s, this))
    , layout_(new QHBoxLayout(this))
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    label_->setTextFormat(Qt::PlainText);
    label_->setFont(theme::bodyFont(13, QFont::DemiBold));
    label_->setStyleSheet(theme::colorRule(color::text));
    plannedTag_->setFont(theme::displayFont(9, QFont::DemiBold, 1.4));
    plannedTag_->setStyleSheet(u"color: %1; border: 1px solid %1; border-radius: 7px; padding: 1px 7px;"_s.arg(
        theme::colorName(color::textDim)));
    plannedTag_->hide();
    description_->setTextFormat(Qt::PlainText);
    description_->setFont(theme::bodyFont(12, QFont::Normal));
    description_->setWordWrap(true);
    description_->setStyleSheet(theme::colorRule(color::textMuted));
    description_->setVisible(!description.isEmpty());

    auto *title = new QHBoxLayout;
    title->setSpacing(8);
    title->addWidget(label_);
    title->addWidget(plannedTag_);
    title->addStretch(1);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(3);
    texts->addLayout(title);
    texts->addWidget(description_);
    layout_->setContentsMargins(0, 14, 0, 14);
    layout_->setSpacing(24);
    layout_->addLayout(texts, 1);
}

void SettingRow::setControl(QWidget *control)
{
    control_ = control;
    if (control_) {
        control_->setParent(this);
        nameControl(control_, label_->text());
        layout_->addWidget(control_, 0, Qt::AlignRight | Qt::AlignVCenter);
    }
}

void SettingRow::setPlanned(bool planned)
{
    plannedTag_->setVisible(planned);
    if (control_) {
        control_->setEnabled(!planned);
    }
    if (planned) {
        setToolTip(u"Not implemented yet."_s);
    }
}

void SettingRow::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setPen(color::border);
    painter.drawLine(0, height() - 1, width(), height() - 1);
}

} // namespace velmo
