// How rows of the vocabulary are written: the ways of storing a parameter, each as a row that names the record's field.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Numbers.h"

namespace APICore {

constexpr Range kByte = {0, 255}, kWord = {0, 65535}, kTwelveBits = {0, 4095}, kUnit = {0, 1}, kThreeBits = {0, 7};

// For what is read and has no place in the command.
inline constexpr LimitCase kNeverSent[] = {{HAL::kEveryRobot, LimitCase::When::Always, nullptr, nullptr, {}, kNotSent}};

template <class Record, class Field>
Record& recordOf(void* record, Field Record::*)
{
    return *static_cast<Record*>(record);
}

// The low bits of the integer view, as many as the field has.
template <auto kField>
void storeInteger(void* record, const nx_json& value, const ParseContext&)
{
    auto& field = recordOf(record, kField).*kField;
    using Field = std::remove_reference_t<decltype(field)>;
    field = static_cast<Field>(static_cast<std::make_unsigned_t<Field>>(static_cast<uint64_t>(value.int_value)));
}

template <auto kField>
void storeFlag(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = value.int_value != 0 ? 1 : 0;
}

template <auto kField>
void storeReal(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = value.dbl_value;
}

template <auto kField>
void storeDegrees(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = ZKHAL::radiansFromDegrees(value.dbl_value);
}

template <auto kField>
void storeLevel(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = ZKHAL::levelByte(value.dbl_value);
}

template <auto kField>
void storeLimitedLevel(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = ZKHAL::levelByte(ZKHAL::clampReal(value.dbl_value, 0.0, 1.0));
}

template <auto kField>
constexpr ParamRow whole(const char* key, const char* name, Range range, const char* words)
{
    return {storeInteger<kField>, ParamKind::Whole, key, name, "", words, {range}};
}

constexpr Limits kFlagLimits = {kUnit, Beyond::ReadAs, 1};

template <auto kField>
constexpr ParamRow flag(const char* key, const char* name, const char* words)
{
    return {storeFlag<kField>, ParamKind::Flag, key, name, "", words, kFlagLimits};
}

template <auto kField>
constexpr ParamRow real(const char* key, const char* name, const char* unit, Limits limits, const char* words)
{
    return {storeReal<kField>, ParamKind::Real, key, name, unit, words, limits};
}

// Degrees in the document, radians in the record.
template <auto kField>
constexpr ParamRow degrees(const char* key, const char* name, const char* unit, Limits limits, const char* words)
{
    return {storeDegrees<kField>, ParamKind::Real, key, name, unit, words, limits};
}

template <auto kField>
constexpr ParamRow level(const char* key, const char* name, const char* words)
{
    return {storeLevel<kField>, ParamKind::Level, key, name, "", words, {kUnit}};
}

template <size_t kCount>
constexpr ParamList listOf(const ParamRow (&rows)[kCount])
{
    static_assert(kCount <= GivenParams::kMost, "what is given of a list is kept beside its rows");
    return {rows, kCount};
}

// Keys mostly come in the order of their rows.
inline void storeParams(const ParamList& list, const nx_json* params, void* record, const ParseContext& context)
{
    const ParamRow* next = list.rows;
    const ParamRow* const end = list.rows + list.count;
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        const ParamRow* row = next;
        if (row == end || !context.isKey(row->comparedKey, param->key)) {
            for (row = list.rows; row != end && !context.isKey(row->comparedKey, param->key); ++row) {
            }
        }
        if (row != end) {
            row->store(record, *param, context);
            next = row + 1;
        }
    }
}

}  // namespace APICore
