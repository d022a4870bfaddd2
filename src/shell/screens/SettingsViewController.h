#pragma once
#include <QWidget>
#include <functional>

class DropboxScreens;
class Preferences;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QVBoxLayout;

// The settings panel: auto-preview and the way into the audio settings, then the desktop's
// own settings (library folder, web drive port, JACK server, Dropbox account), each applied as
// it changes.
// Built in code, row by row.
class SettingsViewController : public QWidget {
    Q_OBJECT
public:
    // The audio settings screen, made when the link is pressed; none hides the link.
    using ScreenFactory = std::function<QWidget*()>;

    explicit SettingsViewController(Preferences* preferences, ScreenFactory audioSettings = {},
                                    QWidget* parent = nullptr);

    // A full-width row: a button with the title and, below it, the subtitle.
    QPushButton* addButtonWithTitle(const QString& title, const QString& subtitle, QLabel** outSubtitleLabel = nullptr);
    // A finished view as the next row.
    void addView(QWidget* view);

    void autoPlayToggled();
    void audioSettingsPress();

    QPushButton* autoPlayButton() const { return mAutoPlay; }
    QPushButton* audioSettingsButton() const { return mAudioSettings; }
    QPushButton* libraryButton() const { return mLibrary; }
    QLabel* libraryLabel() const { return mLibraryLabel; }
    QSpinBox* portBox() const { return mPort; }
    QLineEdit* jackServerField() const { return mJackServer; }

    // Adds the Dropbox account row: link or unlink, with the account's state below.
    void setDropboxScreens(DropboxScreens* dropbox);
    QPushButton* dropboxButton() const { return mDropbox; }
    QLabel* dropboxLabel() const { return mDropboxLabel; }

    // Applies what a folder chooser answered (the button's dialog calls it).
    void chooseLibraryFolder(const QString& folder);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildPanel();
    void buildDesktopRows();
    void updateAutoPlayTitle();
    void updateLibraryRow();
    void libraryPress();
    void updateDropboxRow();
    void layoutSections();

    Preferences* mPreferences;
    ScreenFactory mAudioSettingsFactory;
    QWidget* mContainer;
    QVBoxLayout* mRows;
    QWidget* mDesktop;
    QVBoxLayout* mDesktopRows;
    QPushButton* mAutoPlay = nullptr;
    QPushButton* mAudioSettings = nullptr;
    QPushButton* mLibrary = nullptr;
    DropboxScreens* mDropboxScreens = nullptr;
    QPushButton* mDropbox = nullptr;
    QLabel* mDropboxLabel = nullptr;
    QLabel* mLibraryLabel = nullptr;
    QSpinBox* mPort = nullptr;
    QLineEdit* mJackServer = nullptr;
};
