#pragma once
#include <QLatin1String>

// The names of the notifications that cross subsystems, in one place: a poster and its
// observers in different libraries must agree on the text. Between our own classes in one
// subsystem, Qt signals carry events instead.
namespace notifications {

// The player reached the end of what it plays (object: the player).
inline constexpr QLatin1String kFilePlayerDidFinish{"com.orvenic.filePlayerDidFinish"};
// Whatever preview plays in the library browser stops (the editor takes the player).
inline constexpr QLatin1String kStopPreview{"StopPreview"};
// Another program asked to take a file (userInfo "scheme"); the editor offers its import button.
inline constexpr QLatin1String kAppImportStarted{"AppImportStarted"};

// Remote control (media keys) through the audio engine.
inline constexpr QLatin1String kRemoteTogglePlay{"AudioEngineRemoteTogglePlay"};
inline constexpr QLatin1String kRemoteToggleRecord{"AudioEngineRemoteToggleRecord"};
inline constexpr QLatin1String kRemoteRewind{"AudioEngineRemoteRewind"};
// The engine's source channel or its slots changed.
inline constexpr QLatin1String kUpdatedIAAGraph{"AudioEngineUpdatedIAAGraph"};
// Other programs were connected to or disconnected from the inter-app ports.
inline constexpr QLatin1String kConnectionsChanged{"AudioEngineConnectionsChanged"};

// The audio server went away, and came back (object: the host engine).
inline constexpr QLatin1String kInterruptionBegan{"HostEngineSessionInterruptionBegan"};
inline constexpr QLatin1String kInterruptionEnded{"HostEngineSessionInterruptionEnded"};
// Play was pressed and the engine found no audio server to play on.
inline constexpr QLatin1String kAudioServerUnreachable{"AudioEngineServerUnreachable"};

// The web server started, stopped or was published on the network.
inline constexpr QLatin1String kWifiChanged{"com.orvenic.Wavelocker.wifi-changed"};

}  // namespace notifications
