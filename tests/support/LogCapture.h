#pragma once

#include <QList>
#include <QMutex>
#include <QString>
#include <QStringList>

namespace velmo::test {

/// Collects every Qt log message while it lives, instead of the output. One at a time; messages may come from any
/// thread.
class LogCapture {
public:
    struct Line {
        QtMsgType type;
        QString category;
        QString text;

        bool operator==(const Line &other) const = default;
    };

    LogCapture();
    ~LogCapture();
    Q_DISABLE_COPY_MOVE(LogCapture)

    QList<Line> lines() const;
    /// The lines of one category.
    QList<Line> lines(const QString &category) const;
    /// "WARN velmo.net: text", one for each line of \a category or, when it is empty, of all: handy to compare.
    QStringList texts(const QString &category = {}) const;
    /// How often exactly this line came.
    qsizetype count(QtMsgType type, const QString &category, const QString &text) const;
    bool contains(QtMsgType type, const QString &category, const QString &text) const;
    void clear();

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);

    mutable QMutex mutex_;
    QList<Line> lines_;
    QtMessageHandler previous_;
};

} // namespace velmo::test
