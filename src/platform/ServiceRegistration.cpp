#include "platform/ServiceRegistration.h"

#include "platform/Log.h"

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/thread-watch.h>

namespace platform {

struct ServiceRegistration::Impl {
    AvahiThreadedPoll* poll = nullptr;
    AvahiClient* client = nullptr;
    AvahiEntryGroup* group = nullptr;
    QByteArray name;
    QByteArray type;
    quint16 port = 0;
    Registered onRegistered;

    // Runs on Avahi's thread (or inside avahi_client_new): the daemon's state changed.
    static void clientChanged(AvahiClient* c, AvahiClientState state, void* userData)
    {
        auto* self = static_cast<Impl*>(userData);
        if (state == AVAHI_CLIENT_S_RUNNING)
            self->addService(c);
        else if (state == AVAHI_CLIENT_FAILURE)
            log(QStringLiteral("Bonjour registration failed: %1").arg(QString::fromUtf8(avahi_strerror(avahi_client_errno(c)))));
        else if ((state == AVAHI_CLIENT_S_COLLISION || state == AVAHI_CLIENT_S_REGISTERING) && self->group)
            avahi_entry_group_reset(self->group);
    }

    static void groupChanged(AvahiEntryGroup* g, AvahiEntryGroupState state, void* userData)
    {
        auto* self = static_cast<Impl*>(userData);
        if (state == AVAHI_ENTRY_GROUP_ESTABLISHED) {
            const char* host = avahi_client_get_host_name_fqdn(avahi_entry_group_get_client(g));
            if (self->onRegistered)
                self->onRegistered(QString::fromUtf8(host ? host : ""));
        } else if (state == AVAHI_ENTRY_GROUP_COLLISION) {
            char* alternative = avahi_alternative_service_name(self->name.constData());
            self->name = alternative;
            avahi_free(alternative);
            self->addService(avahi_entry_group_get_client(g));
        } else if (state == AVAHI_ENTRY_GROUP_FAILURE) {
            log(QStringLiteral("Bonjour registration failed: %1")
                    .arg(QString::fromUtf8(avahi_strerror(avahi_client_errno(avahi_entry_group_get_client(g))))));
        }
    }

    void addService(AvahiClient* c)
    {
        if (!group)
            group = avahi_entry_group_new(c, groupChanged, this);
        if (!group)
            return;
        if (name.isEmpty())
            name = avahi_client_get_host_name(c);
        avahi_entry_group_reset(group);
        const int error = avahi_entry_group_add_service(group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0),
                                                        name.constData(), type.constData(), nullptr, nullptr, port,
                                                        nullptr);
        if (error < 0 || avahi_entry_group_commit(group) < 0)
            log(QStringLiteral("Bonjour registration failed: %1").arg(QString::fromUtf8(avahi_strerror(error))));
    }
};

ServiceRegistration::ServiceRegistration() : d(std::make_unique<Impl>()) {}

ServiceRegistration::~ServiceRegistration() { withdraw(); }

bool ServiceRegistration::publish(const QString& name, const QString& type, quint16 port, Registered onRegistered)
{
    withdraw();
    d->name = name.toUtf8();
    d->type = type.toUtf8();
    d->port = port;
    d->onRegistered = std::move(onRegistered);
    d->poll = avahi_threaded_poll_new();
    if (!d->poll)
        return false;
    int error = 0;
    d->client = avahi_client_new(avahi_threaded_poll_get(d->poll), AvahiClientFlags(0), Impl::clientChanged,
                                 d.get(), &error);
    if (!d->client) {
        log(QStringLiteral("Bonjour registration unavailable (%1): the server has no Bonjour URL")
                .arg(QString::fromUtf8(avahi_strerror(error))));
        withdraw();
        return false;
    }
    if (avahi_threaded_poll_start(d->poll) < 0) {
        withdraw();
        return false;
    }
    return true;
}

void ServiceRegistration::withdraw()
{
    if (d->poll)
        avahi_threaded_poll_stop(d->poll);
    if (d->client)
        avahi_client_free(d->client);  // frees the entry group with it
    if (d->poll)
        avahi_threaded_poll_free(d->poll);
    d->poll = nullptr;
    d->client = nullptr;
    d->group = nullptr;
}

}  // namespace platform
