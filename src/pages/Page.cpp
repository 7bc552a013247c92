#include "pages/Page.h"

namespace velmo {

Page::Page(QWidget *parent)
    : QWidget(parent)
{}

void Page::onPageShown() {}

} // namespace velmo
