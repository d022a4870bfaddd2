#pragma once
#include "platform/SpscRing.h"

#include <atomic>
#include <cstdint>
#include <lv2/worker/worker.h>
#include <semaphore.h>
#include <thread>

namespace platform::lv2 {

// The worker a plugin hands slow jobs to from its audio callback: requests go through a
// wait-free ring to a thread of their own, answers come back the same way and are delivered
// to the plugin after its next run. Offline (threaded = false) a job runs at once, so the
// result never depends on timing.
class Worker {
public:
    // The schedule feature exists before the plugin does; attach() gives it the plugin.
    explicit Worker(bool threaded);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // A plugin without a worker interface leaves it unattached: its requests are refused.
    void attach(LV2_Handle handle, const LV2_Worker_Interface* iface);

    // The plugin's schedule function; real-time safe.
    LV2_Worker_Status schedule(uint32_t size, const void* data);
    // After each run, on the thread that runs the plugin: answers, then end of run.
    void deliverResponses();

    LV2_Worker_Schedule* feature() { return &mSchedule; }

private:
    static constexpr uint32_t kMaxMessage = 4096;
    static LV2_Worker_Status respond(LV2_Worker_Respond_Handle handle, uint32_t size, const void* data);
    static bool push(SpscRing<uint8_t>& ring, uint32_t size, const void* data);
    static uint32_t pop(SpscRing<uint8_t>& ring, uint8_t* out);
    void run();

    LV2_Handle mHandle = nullptr;
    const LV2_Worker_Interface* mIface = nullptr;
    LV2_Worker_Schedule mSchedule{};
    SpscRing<uint8_t> mRequests;
    SpscRing<uint8_t> mResponses;
    uint8_t mResponse[kMaxMessage + 4] = {};  // the audio side's work space
    bool mThreaded;
    std::atomic<bool> mStopping{false};
    sem_t mWake{};
    std::thread mThread;
};

}  // namespace platform::lv2
