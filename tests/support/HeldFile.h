#pragma once

#include <QString>

namespace velmo::test {

/// An open file, as another program may have one on Windows, where it decides what others may do meanwhile. Nobody may
/// rename or remove it. Windows alone.
class HeldFile {
public:
    enum Share {
        Nothing,
        Writing,
        ReadingAndWriting,
    };

    HeldFile(const QString &fileName, Share share);
    ~HeldFile();
    Q_DISABLE_COPY_MOVE(HeldFile)

    /// False when somebody else has it open who does not share it so.
    bool isOpen() const;

private:
    void *handle_;
};

} // namespace velmo::test
