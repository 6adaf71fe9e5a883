#include "ReferenceHost/Messaging/UIThread.h"

#include "ReferenceHost/Messaging/MessageCenter.h"

#include <atomic>
#include <pthread.h>

namespace TVK
{

using Messaging::MessageCenter;

namespace
{

std::atomic<bool> sQuit{false};

} // namespace

size_t UIThread::Pump()
{
    return MessageCenter::Instance().Pump();
}

bool UIThread::WaitForMessage(int32_t inMilliseconds)
{
    return MessageCenter::Instance().WaitForMessage(inMilliseconds);
}

void UIThread::Run()
{
    // The flag is taken before the pump: what was posted before Quit is in the queue by then.
    for (bool quit = false; !quit;)
    {
        WaitForMessage(-1);
        quit = sQuit.exchange(false);
        Pump();
    }
}

void UIThread::Quit()
{
    sQuit = true;
    MessageCenter::Instance().Wake();
}

void UIThread::SetWakeFunction(const norvik::Function& inWake)
{
    MessageCenter::Instance().SetWakeFunction(inWake);
}

bool UIThread::IsCurrent()
{
    return MessageCenter::Instance().IsPumpThread();
}

OwnUIThread::OwnUIThread()
    : mThread(
          []
          {
              pthread_setname_np(pthread_self(), "vr-messages");
              UIThread::Run();
          })
{
}

OwnUIThread::~OwnUIThread()
{
    UIThread::Quit();
    mThread.join();
}

} // namespace TVK
