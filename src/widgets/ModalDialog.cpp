#include "widgets/ModalDialog.h"

#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Stylesheet.h"
#include "widgets/RoleButton.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int dialogWidth = 460;
constexpr int sideMargin = 28;
constexpr int detailsHeight = 110;
constexpr int accentBand = 2;

struct Look {
    QColor accent;
    QStringView primaryText;
    QStringView primaryRole;
    bool hasCancel;
};

/// By Kind. An error's one button carries the "danger" look though it only closes.
constexpr std::array<Look, 4> looks = {{
    {color::borderStrong, u"Close", u"secondary", false},
    {color::warning, u"Close", u"secondary", false},
    {color::danger, u"Close", u"danger", false},
    {color::borderStrong, u"Confirm", u"secondary", true},
}};

const Look &lookOf(ModalDialog::Kind kind)
{
    return looks.at(static_cast<size_t>(kind));
}

} // namespace

ModalDialog::ModalDialog(Kind kind, const QString &title, const QString &message, QWidget *parent)
    : QDialog(parent, Qt::Dialog | Qt::FramelessWindowHint)
    , kind_(kind)
    , titleLabel_(new QLabel(title, this))
    , messageLabel_(new QLabel(message, this))
    , detailsToggle_(makeRoleButton(u"Show technical details"_s, u"link"_s, this))
    , detailsView_(new QPlainTextEdit(this))
    , primaryButton_(makeRoleButton(lookOf(kind).primaryText.toString(), lookOf(kind).primaryRole.toString(), this))
    , cancelButton_(makeRoleButton(u"Cancel"_s, u"secondary"_s, this))
{
    setAttribute(Qt::WA_DeleteOnClose, false); // the helpers own it on the stack
    setModal(true);
    setFixedWidth(dialogWidth);
    setWindowTitle(title);

    // A feed's or a server's words are text, whatever they look like.
    titleLabel_->setTextFormat(Qt::PlainText);
    titleLabel_->setFont(theme::displayFont(15, QFont::DemiBold, 1.2));
    titleLabel_->setStyleSheet(theme::colorRule(color::text));
    messageLabel_->setTextFormat(Qt::PlainText);
    messageLabel_->setFont(theme::bodyFont(13, QFont::Normal));
    messageLabel_->setWordWrap(true);
    // The height that a wrapped text needs is asked for at this width, not at the one that the layout would prefer.
    messageLabel_->setFixedWidth(dialogWidth - sideMargin - sideMargin);
    messageLabel_->setStyleSheet(theme::colorRule(color::textMuted));
    detailsToggle_->setFlat(true);
    detailsToggle_->hide();
    connect(detailsToggle_, &QPushButton::clicked, this, &ModalDialog::toggleDetails);
    detailsView_->setReadOnly(true);
    detailsView_->setFont(QFont(u"Consolas"_s, 9));
    detailsView_->setFixedHeight(detailsHeight);
    detailsView_->setAccessibleName(u"Technical details"_s);
    detailsView_->hide();

    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(sideMargin, 26, sideMargin, 22);
    column->setSpacing(0);
    column->addWidget(titleLabel_);
    column->addSpacing(14);
    column->addWidget(messageLabel_);
    column->addSpacing(12);
    column->addWidget(detailsToggle_);
    column->addWidget(detailsView_);
    column->addSpacing(22);
    buildButtons();
}

bool ModalDialog::confirm(QWidget *parent, const QString &title, const QString &message, const QString &confirmText)
{
    ModalDialog dialog(Confirm, title, message, parent);
    if (!confirmText.isEmpty()) {
        dialog.primaryButton_->setText(confirmText);
    }
    return dialog.exec() == QDialog::Accepted;
}

void ModalDialog::showError(QWidget *parent, const QString &title, const QString &message, const QString &details)
{
    ModalDialog dialog(Error, title, message, parent);
    if (!details.isEmpty()) {
        dialog.detailsView_->setPlainText(details);
        dialog.detailsToggle_->show();
    }
    dialog.exec();
}

void ModalDialog::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        dragOffset_ = event->globalPosition().toPoint() - frameGeometry().topLeft();
    }
    QDialog::mousePressEvent(event);
}

void ModalDialog::mouseMoveEvent(QMouseEvent *event)
{
    if (event->buttons().testFlag(Qt::LeftButton)) {
        move(event->globalPosition().toPoint() - dragOffset_);
    }
    QDialog::mouseMoveEvent(event);
}

void ModalDialog::paintEvent(QPaintEvent * /*event*/)
{
    const QColor accent = lookOf(kind_).accent;
    QPainter painter(this);
    painter.fillRect(rect(), color::panel);
    painter.setPen(accent);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    painter.fillRect(0, 0, width(), accentBand, accent);
}

void ModalDialog::buildButtons()
{
    connect(cancelButton_, &QPushButton::clicked, this, &QDialog::reject);
    cancelButton_->setVisible(lookOf(kind_).hasCancel);
    connect(primaryButton_, &QPushButton::clicked, this, &QDialog::accept);
    primaryButton_->setDefault(true);
    auto *row = new QHBoxLayout;
    row->setSpacing(10);
    row->addStretch(1);
    row->addWidget(cancelButton_);
    row->addWidget(primaryButton_);
    setTabOrder(cancelButton_, primaryButton_); // as they stand
    static_cast<QVBoxLayout *>(layout())->addLayout(row);
}

void ModalDialog::toggleDetails()
{
    const bool shown = detailsView_->isVisible();
    detailsView_->setVisible(!shown);
    detailsToggle_->setText(shown ? u"Show technical details"_s : u"Hide technical details"_s);
    adjustSize();
}

} // namespace velmo
