#include "platform/KeyedArchive.h"

#include <cstdlib>
#include <memory>
#include <plist/plist.h>

namespace platform::KeyedArchive {
namespace {

constexpr uint64_t kVersion = 100000;

struct PlistFree {
    void operator()(void* p) const { plist_free(static_cast<plist_t>(p)); }
};
using Plist = std::unique_ptr<void, PlistFree>;

QString stringOf(plist_t node)
{
    if (plist_get_node_type(node) != PLIST_STRING)
        return {};
    char* value = nullptr;
    plist_get_string_val(node, &value);
    const QString text = value ? QString::fromUtf8(value) : QString();
    std::free(value);
    return text;
}

// The object table entry a UID points at; null when it points outside the table.
plist_t resolve(plist_t objects, plist_t uid)
{
    if (!uid || plist_get_node_type(uid) != PLIST_UID)
        return nullptr;
    uint64_t index = 0;
    plist_get_uid_val(uid, &index);
    return index < plist_array_get_size(objects) ? plist_array_get_item(objects, uint32_t(index)) : nullptr;
}

}  // namespace

QByteArray write(const QMap<QString, Entries>& top)
{
    // Object 0 is "$null", 1 the null marker's class, 2 the null marker; then the array
    // class, and for each array its object and its data entries.
    Plist root(plist_new_dict());
    plist_t objects = plist_new_array();
    plist_array_append_item(objects, plist_new_string("$null"));
    auto classObject = [](const char* name, const char* super) {
        plist_t cls = plist_new_dict();
        plist_dict_set_item(cls, "$classname", plist_new_string(name));
        plist_t classes = plist_new_array();
        plist_array_append_item(classes, plist_new_string(name));
        plist_array_append_item(classes, plist_new_string(super));
        plist_dict_set_item(cls, "$classes", classes);
        return cls;
    };
    plist_array_append_item(objects, classObject("NSNull", "NSObject"));
    plist_t nullObject = plist_new_dict();
    plist_dict_set_item(nullObject, "$class", plist_new_uid(1));
    plist_array_append_item(objects, nullObject);
    plist_array_append_item(objects, classObject("NSArray", "NSObject"));
    constexpr uint64_t kNullMarker = 2, kArrayClass = 3;

    plist_t topDict = plist_new_dict();
    for (auto it = top.begin(); it != top.end(); ++it) {
        const uint64_t arrayIndex = plist_array_get_size(objects);
        plist_t array = plist_new_dict();
        plist_array_append_item(objects, array);
        plist_t members = plist_new_array();
        for (const Entry& entry : it.value()) {
            if (!entry) {
                plist_array_append_item(members, plist_new_uid(kNullMarker));
                continue;
            }
            plist_array_append_item(members, plist_new_uid(plist_array_get_size(objects)));
            plist_array_append_item(objects, plist_new_data(entry->constData(), uint64_t(entry->size())));
        }
        plist_dict_set_item(array, "NS.objects", members);
        plist_dict_set_item(array, "$class", plist_new_uid(kArrayClass));
        plist_dict_set_item(topDict, it.key().toUtf8().constData(), plist_new_uid(arrayIndex));
    }
    plist_dict_set_item(root.get(), "$archiver", plist_new_string("NSKeyedArchiver"));
    plist_dict_set_item(root.get(), "$version", plist_new_uint(kVersion));
    plist_dict_set_item(root.get(), "$top", topDict);
    plist_dict_set_item(root.get(), "$objects", objects);
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root.get(), &bytes, &length);
    const QByteArray result(bytes, int(length));
    plist_to_bin_free(bytes);
    return result;
}

std::optional<Entries> read(const QByteArray& archive, const QString& key)
{
    if (archive.isEmpty())
        return std::nullopt;
    plist_t parsed = nullptr;
    plist_from_memory(archive.constData(), uint32_t(archive.size()), &parsed);
    Plist root(parsed);
    if (!parsed || plist_get_node_type(parsed) != PLIST_DICT)
        return std::nullopt;
    if (stringOf(plist_dict_get_item(parsed, "$archiver")) != QLatin1String("NSKeyedArchiver"))
        return std::nullopt;
    plist_t objects = plist_dict_get_item(parsed, "$objects");
    plist_t top = plist_dict_get_item(parsed, "$top");
    if (!objects || plist_get_node_type(objects) != PLIST_ARRAY || !top || plist_get_node_type(top) != PLIST_DICT)
        return std::nullopt;
    plist_t array = resolve(objects, plist_dict_get_item(top, key.toUtf8().constData()));
    if (!array || plist_get_node_type(array) != PLIST_DICT)
        return std::nullopt;
    plist_t members = plist_dict_get_item(array, "NS.objects");
    if (!members || plist_get_node_type(members) != PLIST_ARRAY)
        return std::nullopt;
    Entries entries;
    const uint32_t count = plist_array_get_size(members);
    for (uint32_t i = 0; i < count; ++i) {
        plist_t object = resolve(objects, plist_array_get_item(members, i));
        if (!object)
            return std::nullopt;
        if (plist_get_node_type(object) == PLIST_DATA) {
            char* data = nullptr;
            uint64_t length = 0;
            plist_get_data_val(object, &data, &length);
            entries.append(QByteArray(data, qsizetype(length)));
            std::free(data);
        } else {
            // The null marker, "$null" or anything else that is not bytes: an empty slot.
            entries.append(std::nullopt);
        }
    }
    return entries;
}

}  // namespace platform::KeyedArchive
