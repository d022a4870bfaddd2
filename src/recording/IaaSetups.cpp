#include "recording/IaaSetups.h"

#include "platform/KeyedArchive.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/PartFile.h"
#include "recording/AudioEngine.h"
#include "recording/RemoteAudioUnit.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <algorithm>

namespace IaaSetups {
namespace {

const QString kStateKey = QStringLiteral("lv2state");
constexpr qint64 kMaxFileBytes = 16 * 1024 * 1024;  // far beyond any setup; keeps garbage out of memory

bool validName(const QString& name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && !name.startsWith(QLatin1Char('.')) &&
           !name.contains(QChar(0));
}

}  // namespace

QString directory() { return platform::Locations::appLibrary(); }

QByteArray archive(const std::array<std::optional<AudioComponentDescription>, 4>& chosen,
                   const std::array<QByteArray, 4>& states)
{
    platform::KeyedArchive::Entries root, extra;
    for (size_t i = 0; i < chosen.size(); ++i) {
        root.append(chosen[i] ? std::optional(chosen[i]->toBytes()) : std::nullopt);
        extra.append(states[i].isEmpty() ? std::nullopt : std::optional(states[i]));
    }
    return platform::KeyedArchive::write({{QStringLiteral("root"), root}, {kStateKey, extra}});
}

std::optional<Setup> load(const QString& path)
{
    QFile file(path);
    const QString name = QFileInfo(path).fileName();
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxFileBytes) {
        platform::log(QStringLiteral("Could not load %1: %2").arg(name, file.errorString()));
        return std::nullopt;
    }
    const QByteArray bytes = file.readAll();
    const auto root = platform::KeyedArchive::read(bytes);
    if (!root || root->size() != 4) {
        platform::log(QStringLiteral("Could not load %1: %2").arg(name, QStringLiteral("not a setup")));
        return std::nullopt;
    }
    const auto states = platform::KeyedArchive::read(bytes, kStateKey);
    Setup setup;
    setup.name = name;
    setup.path = path;
    for (int i = 0; i < 4; ++i) {
        const auto& entry = root->at(i);
        const auto description = entry ? AudioComponentDescription::fromBytes(*entry) : std::nullopt;
        if (!description)
            continue;
        if (AudioEngine::fakePlayerRau()->description() == *description)
            setup.units[size_t(i)] = AudioEngine::fakePlayerRau();
        else
            setup.units[size_t(i)] = AudioEngine::findRau(*description);
        if (setup.units[size_t(i)] && states && states->size() == 4 && states->at(i))
            setup.states[size_t(i)] = *states->at(i);
    }
    return setup;
}

QList<Setup> refreshList()
{
    QList<Setup> setups;
    const QDir dir(directory());
    for (const QFileInfo& info : dir.entryInfoList(QDir::Files | QDir::NoDotAndDotDot)) {
        if (PartFile::isPartName(info.fileName()))
            continue;
        if (auto setup = load(info.absoluteFilePath()))
            setups.append(*setup);
    }
    QCollator collator;
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::sort(setups.begin(), setups.end(),
              [&](const Setup& a, const Setup& b) { return collator.compare(a.name, b.name) < 0; });
    return setups;
}

bool saveCurrentSetup(const QString& name)
{
    if (!validName(name)) {
        platform::log(QStringLiteral("Could not save setup %1: not a file name").arg(name));
        return false;
    }
    std::array<std::optional<AudioComponentDescription>, 4> chosen;
    std::array<QByteArray, 4> states;
    for (int i = 0; i < AudioEngine::kSlotCount; ++i) {
        if (const auto rau = AudioEngine::rauAtSlot(i))
            chosen[size_t(i)] = rau->description();
        if (const auto unit = AudioEngine::iaaAtSlot(i))
            states[size_t(i)] = unit->plugin().saveState();
    }
    const QString folder = directory();
    QDir().mkpath(folder);
    auto part = PartFile::create(folder);
    if (!part)
        return false;
    QFile file(part->path());
    const QByteArray bytes = archive(chosen, states);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
        platform::log(QStringLiteral("Could not save setup %1: %2").arg(name, file.errorString()));
        return false;
    }
    file.close();
    return part->commit(folder + QLatin1Char('/') + name, true);
}

void clear()
{
    for (int i = 0; i < AudioEngine::kSlotCount; ++i)
        AudioEngine::setRau(nullptr, i);
    AudioEngine::updateIaaUnits();
}

void apply(const Setup& setup, QObject* context, std::function<void(int code)> done)
{
    QList<AudioEngine::SlotChoice> choices;
    for (int i = 0; i < AudioEngine::kSlotCount; ++i)
        if (setup.units[size_t(i)])
            choices.append({i, setup.units[size_t(i)], setup.states[size_t(i)]});
    AudioEngine::chooseUnits(choices, context, [done = std::move(done)](int code, bool) {
        if (done)
            done(code);
    });
}

bool remove(const Setup& setup) { return QFile::remove(setup.path); }

QString subtitle(const Setup& setup)
{
    QString text;
    for (const auto& rau : setup.units) {
        if (!rau)
            continue;
        text += text.isEmpty() ? rau->name() : QStringLiteral(" \u25BA %1").arg(rau->name());
    }
    return text;
}

}  // namespace IaaSetups
