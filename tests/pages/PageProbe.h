#pragma once

#include <QColor>
#include <QFont>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>

class QBoxLayout;
class QJsonObject;
class QLabel;
class QPushButton;
class QWidget;

namespace velmo::test {

/// Writes \a profile as "game.json" beside the program. Call it before anything asks for the game profile.
void writeGameProfile(const QJsonObject &profile);

/// The only label, or button, below \a root that reads exactly \a text; null when there is none or there are several.
QLabel *labelReading(const QWidget &root, const QString &text);
QPushButton *buttonReading(const QWidget &root, const QString &text);
/// What the news page says when it has no article.
QLabel *emptyNewsLabel(const QWidget &page);

/// How a label looks, as one text that is easy to compare: font, style sheet and that it shows no markup.
QString look(const QLabel &label);
/// What look() gives for a label in \a font and \a color.
QString plainLook(const QFont &font, const QColor &color);

/// The items of \a layout from top to bottom or left to right, one word each: the text of a label or button, the class
/// of another widget, "gap 14", "stretch 1" or "row".
QStringList itemsOf(const QBoxLayout &layout);

/// Takes every address of some schemes while it lives, in place of the desktop.
class UrlCatcher : public QObject {
    Q_OBJECT

public:
    explicit UrlCatcher(const QStringList &schemes);
    ~UrlCatcher() override;

    QList<QUrl> urls() const { return urls_; }

public slots:
    void take(const QUrl &url);

private:
    QStringList schemes_;
    QList<QUrl> urls_;
};

} // namespace velmo::test
