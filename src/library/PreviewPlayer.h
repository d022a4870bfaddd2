#pragma once
#include <QObject>
#include <QString>

// What the browser needs of the shared player to preview a file in its list. The browser
// sits below the player in the build, so the program hands it one of these.
class PreviewPlayer : public QObject {
    Q_OBJECT
public:
    // Posted by the player when play ends by itself.

    using QObject::QObject;

    // Loads the file and plays it once from its start; false when it cannot be played.
    virtual bool playFromStart(const QString& path) = 0;
    // Ends play of whatever the player has.
    virtual void stop() = 0;
    virtual bool isPlaying() const = 0;
    // The file the player holds, empty when none.
    virtual QString loadedPath() const = 0;
    // Stops and lets go of the file.
    virtual void unload() = 0;
    // Whether a finished preview goes on with the next audio file of the list.
    virtual bool autoPlayNext() const = 0;
    // Nothing more is to be previewed: audio may be released if nothing else needs it.
    virtual void previewEnded() = 0;

signals:
    // Play stopped, for whatever reason (a press, the end, another screen, the server).
    void stopped();
};
