#include "platform/HostGraph.h"

#include <algorithm>
#include <cstring>

namespace platform {
namespace {

template <typename List, typename T>
void eraseItem(List& list, const T* item)
{
    std::erase_if(list, [item](const auto& p) { return p.get() == item; });
}

void clear(float* const* buffers, uint32_t frames)
{
    for (int c = 0; c < kHostChannels; ++c)
        std::memset(buffers[c], 0, frames * sizeof(float));
}

}  // namespace

HostGraph::ChannelNode* HostGraph::find(const HostChannel* channel)
{
    auto it = std::find_if(mChannels.begin(), mChannels.end(),
                           [channel](const ChannelNode& n) { return n.channel.get() == channel; });
    return it == mChannels.end() ? nullptr : &*it;
}

void HostGraph::addChannel(std::shared_ptr<HostChannel> channel)
{
    if (channel && !find(channel.get()))
        mChannels.push_back({std::move(channel), {}, {}});
}

void HostGraph::removeChannel(const HostChannel* channel)
{
    std::erase_if(mChannels, [channel](const ChannelNode& n) { return n.channel.get() == channel; });
    if (mSender == channel)
        mSender = nullptr;
}

bool HostGraph::hasChannel(const HostChannel* channel) const
{
    return std::any_of(mChannels.begin(), mChannels.end(),
                       [channel](const ChannelNode& n) { return n.channel.get() == channel; });
}

bool HostGraph::addFilter(std::shared_ptr<HostFilter> filter, const HostChannel* channel)
{
    ChannelNode* node = find(channel);
    if (!node || !filter)
        return false;
    node->filters.push_back(std::move(filter));
    return true;
}

void HostGraph::removeFilter(const HostFilter* filter, const HostChannel* channel)
{
    if (ChannelNode* node = find(channel))
        eraseItem(node->filters, filter);
}

bool HostGraph::addOutputReceiver(std::shared_ptr<HostReceiver> receiver, const HostChannel* channel)
{
    if (!receiver)
        return false;
    if (!channel) {
        mOutputReceivers.push_back(std::move(receiver));
        return true;
    }
    ChannelNode* node = find(channel);
    if (!node)
        return false;
    node->receivers.push_back(std::move(receiver));
    return true;
}

void HostGraph::removeOutputReceiver(const HostReceiver* receiver, const HostChannel* channel)
{
    if (!channel)
        eraseItem(mOutputReceivers, receiver);
    else if (ChannelNode* node = find(channel))
        eraseItem(node->receivers, receiver);
}

void HostGraph::addInputReceiver(std::shared_ptr<HostInputReceiver> receiver)
{
    if (receiver)
        mInputReceivers.push_back(std::move(receiver));
}

void HostGraph::removeInputReceiver(const HostInputReceiver* receiver) { eraseItem(mInputReceivers, receiver); }

void HostGraph::render(const Buffers& b, uint32_t frames, const AudioTimeStamp& time) const
{
    for (const auto& r : mInputReceivers)
        r->receiveInput(time, frames, b.input);

    clear(b.mix, frames);
    if (b.sender)
        clear(b.sender, frames);
    for (const ChannelNode& node : mChannels) {
        clear(b.scratch, frames);
        node.channel->render(b.scratch, frames, time);
        for (const auto& f : node.filters)
            f->filter(b.scratch, frames, time);
        for (const auto& r : node.receivers)
            r->receive(node.channel.get(), time, frames, b.scratch);
        if (b.sender && node.channel.get() == mSender)
            for (int c = 0; c < kHostChannels; ++c)
                std::memcpy(b.sender[c], b.scratch[c], frames * sizeof(float));
        if (node.channel->isMuted())
            continue;
        const float volume = node.channel->volume();
        for (int c = 0; c < kHostChannels; ++c) {
            float* out = b.mix[c];
            const float* in = b.scratch[c];
            for (uint32_t i = 0; i < frames; ++i)
                out[i] += in[i] * volume;
        }
    }
    for (const auto& r : mOutputReceivers)
        r->receive(nullptr, time, frames, b.mix);
    // Written in one pass: another program that the overloaded server still runs on our last
    // cycle while we make this one reads that cycle or this one, never a cleared buffer.
    for (int c = 0; c < kHostChannels; ++c)
        std::memcpy(b.output[c], b.mix[c], frames * sizeof(float));
}

}  // namespace platform
