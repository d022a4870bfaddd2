#pragma once
#include "platform/HostNodes.h"

#include <memory>
#include <vector>

namespace platform {

// What the audio thread runs in one cycle: the channels with their filters and receivers, the
// input receivers, the receivers of the main mix and the channel the sender port carries.
// The main thread edits a copy and hands the copy over whole, so the audio thread always sees
// a consistent graph and never waits for an edit.
class HostGraph {
public:
    static constexpr uint32_t kMaxFrames = 8192;

    struct Buffers {
        const float* const* input = nullptr;  // kHostChannels, may hold silence
        float* const* output = nullptr;       // kHostChannels, overwritten with the mix
        float* const* sender = nullptr;       // kHostChannels or null, overwritten
        float* const* scratch = nullptr;      // kHostChannels of kMaxFrames, the work space
        float* const* mix = nullptr;          // kHostChannels of kMaxFrames, the mix until it goes out
    };

    void addChannel(std::shared_ptr<HostChannel> channel);
    void removeChannel(const HostChannel* channel);
    bool hasChannel(const HostChannel* channel) const;
    // Filters and receivers of a channel the graph does not hold are refused.
    bool addFilter(std::shared_ptr<HostFilter> filter, const HostChannel* channel);
    void removeFilter(const HostFilter* filter, const HostChannel* channel);
    // A null channel means the main mix.
    bool addOutputReceiver(std::shared_ptr<HostReceiver> receiver, const HostChannel* channel);
    void removeOutputReceiver(const HostReceiver* receiver, const HostChannel* channel);
    void addInputReceiver(std::shared_ptr<HostInputReceiver> receiver);
    void removeInputReceiver(const HostInputReceiver* receiver);
    void setSenderChannel(const HostChannel* channel) { mSender = channel; }
    const HostChannel* senderChannel() const { return mSender; }

    // Audio thread: one cycle of at most kMaxFrames frames.
    void render(const Buffers& buffers, uint32_t frames, const AudioTimeStamp& time) const;

private:
    struct ChannelNode {
        std::shared_ptr<HostChannel> channel;
        std::vector<std::shared_ptr<HostFilter>> filters;
        std::vector<std::shared_ptr<HostReceiver>> receivers;
    };
    ChannelNode* find(const HostChannel* channel);

    std::vector<ChannelNode> mChannels;
    std::vector<std::shared_ptr<HostInputReceiver>> mInputReceivers;
    std::vector<std::shared_ptr<HostReceiver>> mOutputReceivers;
    const HostChannel* mSender = nullptr;
};

}  // namespace platform
