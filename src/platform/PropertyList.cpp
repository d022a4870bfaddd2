#include "platform/PropertyList.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

namespace platform::PropertyList {
namespace {

struct NodeDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

// Bounds the depth so that a hostile list of nested arrays cannot exhaust the stack.
constexpr int kMaxDepth = 64;

plist_t toNode(const QVariant& value, int depth)
{
    if (depth > kMaxDepth)
        return nullptr;
    switch (value.typeId()) {
    case QMetaType::QString: return plist_new_string(value.toString().toUtf8().constData());
    case QMetaType::Bool: return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Long:
        // The writer prints the 64 bits as a signed number.
        return plist_new_uint(static_cast<uint64_t>(value.toLongLong()));
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::ULong: return plist_new_uint(value.toULongLong());
    case QMetaType::Float:
    case QMetaType::Double: return plist_new_real(value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), static_cast<uint64_t>(bytes.size()));
    }
    case QMetaType::QVariantMap: {
        Node dict(plist_new_dict());
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            plist_t item = toNode(it.value(), depth + 1);
            if (!item)
                return nullptr;
            plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), item);
        }
        return dict.release();
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        Node array(plist_new_array());
        for (const QVariant& v : value.toList()) {
            plist_t item = toNode(v, depth + 1);
            if (!item)
                return nullptr;
            plist_array_append_item(array.get(), item);
        }
        return array.release();
    }
    default: return nullptr;
    }
}

QVariant fromNode(plist_t node, int depth)
{
    if (!node || depth > kMaxDepth)
        return {};
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return bool(b);
    }
    case PLIST_UINT: {
        uint64_t u = 0;
        plist_get_uint_val(node, &u);
        return static_cast<qlonglong>(u);
    }
    case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return d;
    }
    case PLIST_STRING: {
        char* s = nullptr;
        plist_get_string_val(node, &s);
        const QString text = QString::fromUtf8(s);
        std::free(s);
        return text;
    }
    case PLIST_DATA: {
        char* d = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &d, &length);
        const QByteArray bytes(d, static_cast<qsizetype>(length));
        std::free(d);
        return bytes;
    }
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        for (;;) {
            char* key = nullptr;
            plist_t item = nullptr;
            plist_dict_next_item(node, it, &key, &item);
            if (!key)
                break;
            map.insert(QString::fromUtf8(key), fromNode(item, depth + 1));
            std::free(key);
        }
        std::free(it);
        return map;
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t n = plist_array_get_size(node);
        for (uint32_t i = 0; i < n; ++i)
            list << fromNode(plist_array_get_item(node, i), depth + 1);
        return list;
    }
    default: return {};
    }
}

}  // namespace

QByteArray xmlData(const QVariantMap& dictionary)
{
    Node root(toNode(dictionary, 0));
    if (!root)
        return {};
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    const QByteArray bytes(xml, static_cast<qsizetype>(length));
    plist_to_xml_free(xml);
    return bytes;
}

std::optional<QVariantMap> dictionary(const QByteArray& data)
{
    if (data.isEmpty() || data.size() > std::numeric_limits<int32_t>::max())
        return std::nullopt;
    plist_t raw = nullptr;
    plist_from_memory(data.constData(), static_cast<uint32_t>(data.size()), &raw);
    Node root(raw);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return std::nullopt;
    return fromNode(root.get(), 0).toMap();
}

}  // namespace platform::PropertyList
