#pragma once
#include <QString>
#include <functional>
#include <memory>

namespace platform {

// Publishes one service on the local network through the Avahi daemon. Without a daemon
// nothing is published: publish() logs why and answers false, and the caller goes on.
class ServiceRegistration {
public:
    // Called on Avahi's thread with the fully qualified host name ("name.local") once the
    // service is established.
    using Registered = std::function<void(const QString& hostName)>;

    ServiceRegistration();
    ~ServiceRegistration();  // withdraws
    ServiceRegistration(const ServiceRegistration&) = delete;
    ServiceRegistration& operator=(const ServiceRegistration&) = delete;

    // An empty name publishes under the host name.
    bool publish(const QString& name, const QString& type, quint16 port, Registered onRegistered);
    void withdraw();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace platform
