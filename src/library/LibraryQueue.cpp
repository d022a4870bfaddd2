#include "library/LibraryQueue.h"

platform::SerialQueue& fileListUpdateQueue()
{
    static platform::SerialQueue queue(QStringLiteral("com.orvenic.Wavelocker.listUpdate"));
    return queue;
}
