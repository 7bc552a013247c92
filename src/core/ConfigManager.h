#pragma once

#include <QJsonObject>
#include <QObject>
#include <QTimer>
#include <QVariant>

namespace velmo {

/// The launcher's persistent settings: one JSON document in memory, addressed by dotted keys such as
/// "launcher.minimizeToTray". Reads never touch the disk; writes reach it 400 ms after the last one.
/// Main thread only.
class ConfigManager : public QObject {
    Q_OBJECT

public:
    /// Holds the defaults; touches no file.
    explicit ConfigManager(QObject *parent = nullptr);
    /// Saves if a write still waits for the disk.
    ~ConfigManager() override;

    /// Reads the file over the defaults. A file that is no JSON object is moved aside and the defaults are saved.
    void load();
    /// Writes the document now. False when it could not be committed; the old file is then whole.
    bool save();
    /// Back to the defaults, saved at once; announced by reset() alone.
    void resetToDefaults();

    /// The value under \a key, or \a fallback when there is none or it is null.
    QVariant value(const QString &key, const QVariant &fallback) const;
    bool boolValue(const QString &key, bool fallback) const;
    int intValue(const QString &key, int fallback) const;
    QString stringValue(const QString &key, const QString &fallback) const;
    /// Writes and announces a value; one equal to the present value is neither written nor announced.
    void setValue(const QString &key, const QVariant &newValue);

    QString filePath() const { return path; }

signals:
    void changed(const QString &key, const QVariant &value);
    void reset();

private:
    void quarantine(const QString &parseError);

    QJsonObject data;
    QTimer saveTimer;
    QString path;
};

} // namespace velmo
