#pragma once

// Log lines from the audio thread. The audio thread must not take the log's lock or format
// text, so it queues a fixed format and one number without waiting; whoever owns a
// non-real-time thread (the host engine's pump, an offline renderer) drains the queue into
// the ordinary log.
namespace platform::RealtimeLog {

// format: a string literal with one %d; a trailing line break is dropped when logged.
// Lines that do not fit in the queue are lost rather than waited for.
void post(const char* format, int value);
// Writes every queued line to the log; call from one non-real-time thread at a time.
void drain();

}  // namespace platform::RealtimeLog
