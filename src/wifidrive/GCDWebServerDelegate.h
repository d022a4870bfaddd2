#pragma once

class GCDWebServer;

// Told on the main thread when the server starts, stops and is published on the network.
class GCDWebServerDelegate {
public:
    virtual ~GCDWebServerDelegate() = default;
    virtual void webServerDidStart(GCDWebServer* server) = 0;
    virtual void webServerDidStop(GCDWebServer* server) = 0;
    virtual void webServerDidCompleteBonjourRegistration(GCDWebServer* server) = 0;
};
