// The baseline of the start-up and memory figures: an empty window of the same Qt.

#include "FirstFrame.h"

#include <QApplication>
#include <QWidget>

int main(int argc, char **argv)
{
    const velmo::bench::FirstFrame<QApplication> app(argc, argv);
    QWidget window;
    window.resize(1400, 850);
    window.show();
    return QApplication::exec();
}
