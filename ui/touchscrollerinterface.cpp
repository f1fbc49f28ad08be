#include "touchscrollerinterface.h"

#include "touchscroller.h"

TouchScrollerInterface::TouchScrollerInterface(QObject *parent) : QObject(parent) {}

TouchScrollerInterface::~TouchScrollerInterface()
{
    qDeleteAll(m_scrollers); // before QObject would, so the list never holds a dead one
}

void TouchScrollerInterface::bondTS(QAbstractScrollArea *area)
{
    auto *scroller = new TouchScroller(this);
    scroller->enableTouchScrollFor(area);
    m_scrollers.append(scroller);
}

void TouchScrollerInterface::removeEnabledItem(int index)
{
    if (index < 0 || index >= m_scrollers.size())
        return;
    delete m_scrollers.takeAt(index);
}
