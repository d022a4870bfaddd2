#pragma once
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <cstdint>
#include <optional>

// The AudioCopy convention by which audio programs hand each other 16-bit, 44.1 kHz PCM
// through named pasteboards (a version-1 single slot, an index and a ring of twelve history
// slots), and whole audio files through the general pasteboard. Every piece of state lives in
// the pasteboards, so other programs that follow the convention read and write the same.
namespace AudioCopyPaste1 {

inline const QString kVersion1Pasteboard = QStringLiteral("com.sonomawireworks.audioCopyPasteboard");
inline const QString kIndexPasteboard = QStringLiteral("com.sonomawireworks.audioCopyPasteboardIndex");
inline const QString kGeneralPasteboardName = QStringLiteral("generalpasteboard");
inline const QString kIndexType = QStringLiteral("com.sonomawireworks.currentPasteboardIndex");
inline const QString kClearType = QStringLiteral("com.sonomawireworks.pasteboardClear");
inline const QString kInfoType = QStringLiteral("com.sonomawireworks.audioinfo");
inline const QString kRawAudioType = QStringLiteral("com.sonomawireworks.16bitrawaudiotype");
inline const QString kGeneralAudioType = QStringLiteral("public.audio");

constexpr int kHistorySlots = 12;
constexpr int64_t kPieceBytes = 2097152;         // named pasteboards
constexpr int64_t kGeneralPieceBytes = 5242880;  // general pasteboard
constexpr int kDecodeFrames = 8192;

// Info dictionary keys.
inline const QString kDuration = QStringLiteral("duration");
inline const QString kChannels = QStringLiteral("channels");
inline const QString kPastedCount = QStringLiteral("pastedcount");
inline const QString kCopyName = QStringLiteral("copyname");
inline const QString kSender = QStringLiteral("sender");
inline const QString kTempo = QStringLiteral("tempo");

// {"copyname": "AudioCopy", "sender": "Unknown", "tempo": 0}
QVariantMap defaultMeta();
QString historyPasteboardName(int slot);

void initPasteBoard();
int getPasteIndex();
void incrementPasteIndex();
QString incrementPasteIndexAndGetPasteboardName();
void clearVersion1Pasteboard();

// Decodes any readable audio file to the wire format onto the named pasteboard.
bool copyAudioFileAtPath(const QString& path, const QVariantMap& meta, const QString& pasteboardName);
// Copies the sample bytes of a 16-bit 44.1 kHz WAV file as they are.
bool copyMappedAudioFileAtPath(const QString& path, const QVariantMap& meta, const QString& pasteboardName);
// The mapped copy onto the next history slot; an empty meta means the default one.
bool basicCopyMappedAudioFileAtPath(const QString& path, const QVariantMap& meta = {});
// The file's own bytes on the general pasteboard, in 5 MiB items.
bool copyAudioFileAtPathToGeneralPasteboard(const QString& path);
bool hasGeneralPasteboardData();

std::optional<QVariantMap> getPasteInfo();
std::optional<QVariantMap> getPasteInfoWithPasteboardName(const QString& name);
std::optional<QVariantMap> getPasteInfoForIndex(int slot);
std::optional<QVariantMap> getMostRecentPasteInfo();
// Version-1 piece n of the named pasteboard; null when absent.
QByteArray getDataForIndexWithPasteboardName(int n, const QString& pasteboardName);
// A whole WAV image (header and every piece) for auditioning; empty when there is nothing.
QByteArray getPreviewDataForPasteboardName(const QString& name);

// Told after each block written into the destinations: the frame offset, the frames of the
// block, the destination's length when opened, the source's channels. For progress display.
class AudioPaste1CallbackDelegate {
public:
    virtual void audioPasteBlockCompleted(int64_t& offset, int64_t& numPackets, int64_t& totalFileLengthInPackets,
                                          int channels) = 0;

protected:
    ~AudioPaste1CallbackDelegate() = default;
};

// A history pasteboard's content as a new WAV file.
bool pasteAudioFileFromPasteboard(const QString& pasteboardName, const QString& toPath);
// Merges a pasteboard's audio into one existing 16-bit WAV file, or two mono ones (left,
// right), at a frame offset, loopCount times; "generalpasteboard" (any case) names the general
// pasteboard, the version-1 name the version-1 pieces, any other a history pasteboard.
bool pasteAudioFileFromPasteboard(const QString& pasteboardName, const QStringList& toPaths, int loopCount,
                                  int64_t offset, AudioPaste1CallbackDelegate* pasteDelegate);
bool pasteAudioFileFromHistoryPasteboard(const QString& pasteboardName, const QStringList& toPaths, int loopCount,
                                         int64_t offset, AudioPaste1CallbackDelegate* pasteDelegate);
bool pasteAudioFileFromGeneralPasteboard(const QStringList& toPaths, int loopCount, int64_t offset,
                                         AudioPaste1CallbackDelegate* pasteDelegate);

}  // namespace AudioCopyPaste1
