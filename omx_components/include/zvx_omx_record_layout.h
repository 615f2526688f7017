#ifndef ZVX_OMX_RECORD_LAYOUT_H
#define ZVX_OMX_RECORD_LAYOUT_H

/*
 * Field-by-field description of the parameter records the component stores, so that diagnostics can
 * print a record without knowing its type. A layout is built from the record type itself (offsets,
 * sizes and kinds come from the compiler), never written out by hand.
 */

#include <OMX_Core.h>
#include <OMX_IVCommon.h>
#include <OMX_Types.h>
#include <OMX_Video.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

enum class zvx_omx_field_kind : uint8_t {
    unsigned_int,
    signed_int,
    boolean,
    version,
    color_format,
    coding,
    text, /* a character array, not necessarily terminated */
    pointer,
};

struct zvx_omx_record_field {
    const char *name;
    uint32_t offset;
    uint32_t size;  /* of one element */
    uint32_t count; /* elements: 1 unless the field is an array */
    zvx_omx_field_kind kind;
    uint32_t enumeration_limit; /* largest value the field's enumeration holds; 0: no limit, or no enumeration */
};

struct zvx_omx_record_layout {
    const char *type_name;
    uint32_t size;
    const zvx_omx_record_field *fields;
    uint32_t field_count;
};

/* The layout of each record type the settings stores hold; defined once per type. */
template <typename Record> const zvx_omx_record_layout &zvx_omx_record_layout_of();

template <typename Member> constexpr zvx_omx_field_kind zvx_omx_field_kind_of()
{
    if constexpr (std::is_same_v<Member, OMX_BOOL>)
        return zvx_omx_field_kind::boolean;
    else if constexpr (std::is_same_v<Member, OMX_VERSIONTYPE>)
        return zvx_omx_field_kind::version;
    else if constexpr (std::is_same_v<Member, OMX_COLOR_FORMATTYPE>)
        return zvx_omx_field_kind::color_format;
    else if constexpr (std::is_same_v<Member, OMX_VIDEO_CODINGTYPE>)
        return zvx_omx_field_kind::coding;
    else if constexpr (std::is_pointer_v<Member>)
        return zvx_omx_field_kind::pointer;
    else if constexpr (std::is_enum_v<Member>)
        return std::is_signed_v<std::underlying_type_t<Member>> ? zvx_omx_field_kind::signed_int
                                                                : zvx_omx_field_kind::unsigned_int;
    else
        return std::is_signed_v<Member> ? zvx_omx_field_kind::signed_int : zvx_omx_field_kind::unsigned_int;
}

/* A client's record arrives as bytes: a field of an enumeration without a fixed underlying type may hold
 * a value beyond the enumeration, and reading it as that type is undefined. Such values are refused at
 * the entry. The OpenMAX enumerations end at their *_Max, 0x7FFFFFFF; a narrower one specialises this. */
template <typename Enumeration> inline constexpr uint32_t zvx_omx_enumeration_limit = 0x7FFFFFFF;

template <typename T>
concept zvx_omx_fixed_enumeration = std::is_enum_v<T> && requires
{
    T{std::underlying_type_t<T>{}};
};

template <typename Member> constexpr uint32_t zvx_omx_enumeration_limit_of()
{
    if constexpr (std::is_enum_v<Member> && !zvx_omx_fixed_enumeration<Member>) {
        static_assert(std::is_unsigned_v<std::underlying_type_t<Member>>, "a negative value needs a range of its own");
        static_assert(sizeof(Member) == sizeof(uint32_t));
        return zvx_omx_enumeration_limit<Member>;
    } else {
        return 0;
    }
}

template <typename Member> constexpr zvx_omx_record_field zvx_omx_field(const char *name, size_t offset)
{
    if constexpr (std::is_array_v<Member>) {
        using Element = std::remove_extent_t<Member>;
        if constexpr (sizeof(Element) == 1 && std::is_integral_v<Element>)
            return {name, static_cast<uint32_t>(offset), sizeof(Member), 1, zvx_omx_field_kind::text, 0};
        else
            return {name,
                    static_cast<uint32_t>(offset),
                    sizeof(Element),
                    std::extent_v<Member>,
                    zvx_omx_field_kind_of<Element>(),
                    zvx_omx_enumeration_limit_of<Element>()};
    } else {
        return {name, static_cast<uint32_t>(offset),   sizeof(Member),
                1,    zvx_omx_field_kind_of<Member>(), zvx_omx_enumeration_limit_of<Member>()};
    }
}

/* One field of the record type `Record` named in the enclosing ZVX_OMX_RECORD_LAYOUT; nested
 * members are written with dots: ZVX_OMX_FIELD(format.video.nFrameWidth). */
#define ZVX_OMX_FIELD(member)                                                                                          \
    zvx_omx_field<std::remove_cvref_t<decltype(std::declval<Record &>().member)>>(#member, offsetof(Record, member))

/* Defines zvx_omx_record_layout_of<type>() from its fields. */
#define ZVX_OMX_RECORD_LAYOUT(type, ...)                                                                               \
    template <> const zvx_omx_record_layout &zvx_omx_record_layout_of<type>()                                          \
    {                                                                                                                  \
        using Record = type;                                                                                           \
        static constexpr zvx_omx_record_field fields[] = {__VA_ARGS__};                                                \
        static constexpr zvx_omx_record_layout layout = {#type, sizeof(Record), fields,                                \
                                                         static_cast<uint32_t>(sizeof(fields) / sizeof(fields[0]))};   \
        return layout;                                                                                                 \
    }

#endif
