#include "platform/lv2/Lv2Worker.h"

#include <cstring>
#include <vector>

namespace platform::lv2 {
namespace {

constexpr size_t kRingBytes = 65536;

}  // namespace

Worker::Worker(bool threaded) : mRequests(kRingBytes), mResponses(kRingBytes), mThreaded(threaded)
{
    mSchedule.handle = this;
    mSchedule.schedule_work = [](LV2_Worker_Schedule_Handle h, uint32_t size, const void* data) {
        return static_cast<Worker*>(h)->schedule(size, data);
    };
}

void Worker::attach(LV2_Handle handle, const LV2_Worker_Interface* iface)
{
    if (!iface || !iface->work || mIface)
        return;
    mHandle = handle;
    mIface = iface;
    if (mThreaded) {
        sem_init(&mWake, 0, 0);
        mThread = std::thread([this] { run(); });
    }
}

Worker::~Worker()
{
    if (!mThread.joinable())
        return;
    mStopping = true;
    sem_post(&mWake);
    mThread.join();
    sem_destroy(&mWake);
}

bool Worker::push(SpscRing<uint8_t>& ring, uint32_t size, const void* data)
{
    if (size > kMaxMessage || ring.writable() < size + 4)
        return false;
    // Header and body in one write, so the reader never sees one without the other.
    uint8_t message[kMaxMessage + 4];
    std::memcpy(message, &size, 4);
    std::memcpy(message + 4, data, size);
    return ring.write(std::span<const uint8_t>(message, size + 4)) == size + 4;
}

uint32_t Worker::pop(SpscRing<uint8_t>& ring, uint8_t* out)
{
    if (ring.readable() < 4)
        return 0;
    uint32_t size = 0;
    ring.read(std::span<uint8_t>(reinterpret_cast<uint8_t*>(&size), 4));
    ring.read(std::span<uint8_t>(out, size));
    return size;
}

LV2_Worker_Status Worker::schedule(uint32_t size, const void* data)
{
    if (!mIface)
        return LV2_WORKER_ERR_UNKNOWN;
    if (!mThreaded) {
        mIface->work(mHandle, &Worker::respond, this, size, data);
        return LV2_WORKER_SUCCESS;
    }
    if (!push(mRequests, size, data))
        return LV2_WORKER_ERR_NO_SPACE;
    sem_post(&mWake);
    return LV2_WORKER_SUCCESS;
}

LV2_Worker_Status Worker::respond(LV2_Worker_Respond_Handle handle, uint32_t size, const void* data)
{
    auto* self = static_cast<Worker*>(handle);
    return push(self->mResponses, size, data) ? LV2_WORKER_SUCCESS : LV2_WORKER_ERR_NO_SPACE;
}

void Worker::deliverResponses()
{
    if (!mIface)
        return;
    while (mResponses.readable() >= 4) {
        const uint32_t size = pop(mResponses, mResponse);
        if (mIface->work_response)
            mIface->work_response(mHandle, size, mResponse);
    }
    if (mIface->end_run)
        mIface->end_run(mHandle);
}

void Worker::run()
{
    std::vector<uint8_t> request(kMaxMessage + 4);
    while (true) {
        sem_wait(&mWake);
        if (mStopping)
            return;
        while (mRequests.readable() >= 4) {
            const uint32_t size = pop(mRequests, request.data());
            mIface->work(mHandle, &Worker::respond, this, size, request.data());
        }
    }
}

}  // namespace platform::lv2
