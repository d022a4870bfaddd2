#include "shell/screens/SettingsViewController.h"
#include "cloud/DropboxAccount.h"
#include "cloud/screens/DropboxScreens.h"

#include "library/Utils.h"
#include "recording/AudioEngine.h"
#include "shell/Preferences.h"
#include "ui/screens/NavigationController.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>

namespace {

const QString kAutoPlayTitle = QStringLiteral("Auto-preview next");
const QString kAutoPlaySubtitle = QStringLiteral("Automatically play next file when using the preview-play button.");
const QString kOn = QStringLiteral("ON");
const QString kOff = QStringLiteral("OFF");
const QString kAudioSettingsTitle = QStringLiteral("Audio Settings");
const QString kLinkMark = QStringLiteral("\u25BA");
const QString kLibraryTitle = QStringLiteral("Library folder");
const QString kLibraryChoose = QStringLiteral("Choose\u2026");
const QString kLibraryFixed = QStringLiteral("Set by --library or WAVELOCKER_LIBRARY for this run.");
const QString kLibraryError = QStringLiteral("Could not use this folder");
const QString kPortTitle = QStringLiteral("WiFi Drive port");
const QString kPortSubtitle = QStringLiteral("80 falls back to 8080 when it is refused; 0 takes any free port.");
const QString kJackTitle = QStringLiteral("JACK server");
const QString kJackSubtitle = QStringLiteral("The server to play and record through; empty for the default one.");
const QString kJackPlaceholder = QStringLiteral("default");
const QString kDropboxTitle = QStringLiteral("Dropbox");
const QString kDropboxLink = QStringLiteral("Link…");
const QString kDropboxUnlink = QStringLiteral("Unlink…");
const QString kDropboxLinked = QStringLiteral("Linked: the library imports from and exports to this account.");
const QString kDropboxNotLinked = QStringLiteral("Not linked. Link an account to import from and export to Dropbox.");

// One column for both sections: the rows line up under each other.
constexpr int kColumnWidth = 380;
constexpr int kRowHeight = 50;
constexpr int kSubtitleHeight = 15;
constexpr int kLinkHeight = 40;
constexpr int kSectionGap = 24;
constexpr double kBackgroundWhite = 0.2;
constexpr double kLinkWhite = 0.75;
constexpr double kSubtitleWhite = 0.6;
constexpr int kMaxPort = 65535;

// White at alpha over the dark background, as a style sheet colour.
QString cssWhite(double alpha) { return QStringLiteral("rgba(255, 255, 255, %1)").arg(int(alpha * 255)); }

QLabel* subtitleLabel(const QString& text)
{
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    label->setMinimumHeight(kSubtitleHeight);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    label->setFont(font);
    label->setStyleSheet(QStringLiteral("color: %1;").arg(cssWhite(kSubtitleWhite)));
    return label;
}

// A titled row holding control, with a subtitle below.
QWidget* controlRow(const QString& title, QWidget* control, QLabel* subtitle)
{
    auto* row = new QWidget;
    auto* layout = new QVBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    auto* line = new QHBoxLayout;
    auto* label = new QLabel(title);
    label->setBuddy(control);
    line->addWidget(label, 1);
    line->addWidget(control);
    layout->addLayout(line);
    layout->addWidget(subtitle);
    return row;
}

}  // namespace

SettingsViewController::SettingsViewController(Preferences* preferences, ScreenFactory audioSettings, QWidget* parent)
    : QWidget(parent),
      mPreferences(preferences),
      mAudioSettingsFactory(std::move(audioSettings)),
      mContainer(new QWidget(this)),
      mRows(new QVBoxLayout(mContainer)),
      mDesktop(new QWidget(this)),
      mDesktopRows(new QVBoxLayout(mDesktop))
{
    setWindowTitle(QStringLiteral("Settings"));
    setAutoFillBackground(true);
    QPalette dark = palette();
    dark.setColor(QPalette::Window, QColor::fromRgbF(kBackgroundWhite, kBackgroundWhite, kBackgroundWhite));
    setPalette(dark);
    buildPanel();
    buildDesktopRows();
}

QPushButton* SettingsViewController::addButtonWithTitle(const QString& title, const QString& subtitle,
                                                        QLabel** outSubtitleLabel)
{
    auto* button = new QPushButton(title);
    button->setFixedHeight(kRowHeight - kSubtitleHeight);
    QLabel* label = subtitleLabel(subtitle);
    auto* row = new QWidget;
    row->setMinimumHeight(kRowHeight);
    auto* layout = new QVBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* line = new QHBoxLayout;
    auto* titleLabel = new QLabel(title);
    titleLabel->setBuddy(button);
    line->addWidget(titleLabel, 1);
    line->addWidget(button);
    layout->addLayout(line);
    layout->addWidget(label);
    addView(row);
    if (outSubtitleLabel)
        *outSubtitleLabel = label;
    return button;
}

void SettingsViewController::addView(QWidget* view) { mRows->addWidget(view); }

void SettingsViewController::buildPanel()
{
    mContainer->setFixedWidth(kColumnWidth);
    mRows->setContentsMargins(0, 0, 0, 0);
    mRows->setSpacing(8);

    mAutoPlay = addButtonWithTitle(kAutoPlayTitle, kAutoPlaySubtitle);
    mAutoPlay->setCheckable(true);
    mAutoPlay->setChecked(AudioEngine::autoPlayNext());
    mAutoPlay->setAccessibleName(kAutoPlayTitle);
    mAutoPlay->setToolTip(kAutoPlaySubtitle);
    updateAutoPlayTitle();
    connect(mAutoPlay, &QPushButton::clicked, this, &SettingsViewController::autoPlayToggled);

    if (mAudioSettingsFactory) {
        mAudioSettings = new QPushButton(kAudioSettingsTitle);
        mAudioSettings->setFixedHeight(kLinkHeight);
        mAudioSettings->setToolTip(QStringLiteral("Recording format, input, buffer and sample rate"));
        mAudioSettings->setFlat(true);
        mAudioSettings->setStyleSheet(QStringLiteral("QPushButton { text-align: left; color: %1; border: none; }"
                                                     "QPushButton:pressed, QPushButton:hover { color: white; }")
                                          .arg(cssWhite(kLinkWhite)));
        auto* mark = new QLabel(kLinkMark, mAudioSettings);
        mark->setAttribute(Qt::WA_TransparentForMouseEvents);
        mark->setAccessibleName(QString());
        mark->setAccessibleDescription(QString());
        auto* markLayout = new QHBoxLayout(mAudioSettings);
        markLayout->setContentsMargins(0, 0, 4, 0);
        markLayout->addStretch(1);
        markLayout->addWidget(mark);
        connect(mAudioSettings, &QPushButton::clicked, this, &SettingsViewController::audioSettingsPress);
        addView(mAudioSettings);
    }
}

void SettingsViewController::buildDesktopRows()
{
    mDesktop->setFixedWidth(kColumnWidth);
    mDesktopRows->setContentsMargins(0, 0, 0, 0);
    mDesktopRows->setSpacing(12);

    mLibrary = new QPushButton(kLibraryChoose);
    mLibraryLabel = subtitleLabel(QString());
    mLibraryLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    mLibrary->setToolTip(QStringLiteral("Choose the folder the library keeps its files in"));
    connect(mLibrary, &QPushButton::clicked, this, &SettingsViewController::libraryPress);
    mDesktopRows->addWidget(controlRow(kLibraryTitle, mLibrary, mLibraryLabel));
    updateLibraryRow();

    mPort = new QSpinBox;
    mPort->setRange(0, kMaxPort);
    mPort->setValue(mPreferences->webServerPort());
    mPort->setAccessibleName(kPortTitle);
    mPort->setToolTip(kPortSubtitle);
    connect(mPort, &QSpinBox::editingFinished, this, [this] { mPreferences->setWebServerPort(mPort->value()); });
    mDesktopRows->addWidget(controlRow(kPortTitle, mPort, subtitleLabel(kPortSubtitle)));

    mJackServer = new QLineEdit(mPreferences->jackServerName());
    mJackServer->setPlaceholderText(kJackPlaceholder);
    mJackServer->setAccessibleName(kJackTitle);
    mJackServer->setToolTip(kJackSubtitle);
    connect(mJackServer, &QLineEdit::editingFinished, this,
            [this] { mPreferences->setJackServerName(mJackServer->text()); });
    mDesktopRows->addWidget(controlRow(kJackTitle, mJackServer, subtitleLabel(kJackSubtitle)));
}

void SettingsViewController::setDropboxScreens(DropboxScreens* dropbox)
{
    if (mDropbox || !dropbox)
        return;
    mDropboxScreens = dropbox;
    mDropbox = new QPushButton;
    mDropbox->setAccessibleName(kDropboxTitle);
    mDropbox->setToolTip(QStringLiteral("Link or unlink the Dropbox account the library imports from and exports to"));
    mDropboxLabel = subtitleLabel(QString());
    connect(mDropbox, &QPushButton::clicked, this, [this] {
        if (mDropboxScreens->account()->isLinked())
            mDropboxScreens->unlinkAccount(this);
        else
            mDropboxScreens->linkAccount(this);
    });
    connect(dropbox->account(), &cloud::DropboxAccount::linkedChanged, this, &SettingsViewController::updateDropboxRow);
    mDesktopRows->addWidget(controlRow(kDropboxTitle, mDropbox, mDropboxLabel));
    updateDropboxRow();
    layoutSections();
}

void SettingsViewController::updateDropboxRow()
{
    const bool linked = mDropboxScreens->account()->isLinked();
    mDropbox->setText(linked ? kDropboxUnlink : kDropboxLink);
    mDropboxLabel->setText(linked ? kDropboxLinked : kDropboxNotLinked);
}

void SettingsViewController::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    layoutSections();
}

void SettingsViewController::layoutSections()
{
    // Both sections stay centred as one block when the view resizes.
    const int panelHeight = mContainer->sizeHint().height();
    const int desktopHeight = mDesktop->sizeHint().height();
    const int total = panelHeight + kSectionGap + desktopHeight;
    const int top = std::max(0, (height() - total) / 2);
    const int left = (width() - kColumnWidth) / 2;
    mContainer->setGeometry(left, top, kColumnWidth, panelHeight);
    mDesktop->setGeometry(left, top + panelHeight + kSectionGap, kColumnWidth, desktopHeight);
}

// The engine holds the preference while the program runs; it is stored on the way to the
// background, not here.
void SettingsViewController::autoPlayToggled()
{
    AudioEngine::setAutoPlayNext(mAutoPlay->isChecked());
    updateAutoPlayTitle();
}

void SettingsViewController::updateAutoPlayTitle() { mAutoPlay->setText(mAutoPlay->isChecked() ? kOn : kOff); }

void SettingsViewController::audioSettingsPress()
{
    if (!mAudioSettingsFactory)
        return;
    QWidget* screen = mAudioSettingsFactory();
    screen->setWindowTitle(kAudioSettingsTitle);
    // Shown in the space this panel has, on its own stack when it has one.
    NavigationController* navigation = nullptr;
    for (QWidget* w = parentWidget(); w && !navigation; w = w->parentWidget())
        navigation = qobject_cast<NavigationController*>(w);
    if (navigation) {
        navigation->pushViewController(screen, true);
        return;
    }
    screen->setParent(window(), Qt::Dialog);
    screen->resize(size());
    screen->setAttribute(Qt::WA_DeleteOnClose);
    screen->show();
}

void SettingsViewController::updateLibraryRow()
{
    const bool fixed = mPreferences->libraryFolderIsFixed();
    mLibrary->setEnabled(!fixed);
    mLibraryLabel->setText(fixed ? mPreferences->libraryFolder() + QLatin1Char('\n') + kLibraryFixed
                                 : mPreferences->libraryFolder());
}

void SettingsViewController::libraryPress()
{
    const QString folder =
        QFileDialog::getExistingDirectory(this, kLibraryTitle, mPreferences->libraryFolder(), QFileDialog::ShowDirsOnly);
    if (!folder.isEmpty())
        chooseLibraryFolder(folder);
}

void SettingsViewController::chooseLibraryFolder(const QString& folder)
{
    QString error;
    if (!mPreferences->setLibraryFolder(folder, &error))
        Utils::showAlert(kLibraryError, error, this);
    updateLibraryRow();
}
