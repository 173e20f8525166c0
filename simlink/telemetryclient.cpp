#include "telemetryclient.h"

#include "sessiontext.h"
#include "telemetrymap.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace {
std::int32_t widthOf(std::int32_t type)
{
    switch (type) {
    case TelemetryMap::typeChar:
    case TelemetryMap::typeBool:
        return 1;
    case TelemetryMap::typeInt:
    case TelemetryMap::typeBitField:
    case TelemetryMap::typeFloat:
        return 4;
    default:
        return 8;
    }
}

std::int32_t headerField(const unsigned char *header, std::size_t offset)
{
    std::int32_t value;
    std::memcpy(&value, header + offset, sizeof value);
    return value;
}

// Cuts towards zero; a value outside the range of a 32-bit integer gives its nearest end,
// and a NaN gives 0.
std::int32_t truncated(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= 2147483647.0)
        return std::numeric_limits<std::int32_t>::max();
    if (value <= -2147483648.0)
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}
} // namespace

TelemetryClient &TelemetryClient::shared()
{
    static TelemetryClient instance; // made once, safely against other threads
    return instance;
}

TelemetryClient::~TelemetryClient()
{
    reset();
}

void TelemetryClient::reset()
{
    TelemetryMap::detach();
    row.reset();
}

bool TelemetryClient::awaitRow(std::int32_t timeoutMs)
{
    if (TelemetryMap::waitRow(timeoutMs, row.get(), row ? rowLengthValue : 0)) {
        const std::int32_t length = TelemetryMap::rowLength();
        if (row && rowLengthValue == length)
            return true;
        row.reset();
        // A length the region cannot hold is refused before anything is allocated for it.
        const TelemetryMap::State &map = TelemetryMap::state();
        if (length <= 0 || static_cast<std::size_t>(length) > map.regionSize)
            return false;
        rowLengthValue = length;
        row.reset(new unsigned char[static_cast<std::size_t>(length)]);
        ++rowGenerationValue;
        return TelemetryMap::fetchRow(row.get(), rowLengthValue);
    }
    if (row && TelemetryMap::isLive())
        return false;
    row.reset();
    return false;
}

std::int32_t TelemetryClient::variableIndex(const char *name)
{
    if (!row || !TelemetryMap::isLive())
        return 0;
    return TelemetryMap::findVariable(name);
}

const unsigned char *TelemetryClient::entry(std::int32_t index, std::int32_t entryIndex, std::int32_t *type)
{
    if (!row || !TelemetryMap::isLive())
        return nullptr;
    const unsigned char *header = TelemetryMap::variableHeader(index);
    if (!header)
        return nullptr;
    if (entryIndex < 0 || entryIndex >= headerField(header, TelemetryMap::variableEntryCountField))
        return nullptr;
    *type = headerField(header, TelemetryMap::variableTypeField);
    if (static_cast<std::uint32_t>(*type) > TelemetryMap::typeDouble)
        return nullptr;
    const std::int64_t offset =
        static_cast<std::int64_t>(headerField(header, TelemetryMap::variableValueOffsetField)) +
        static_cast<std::int64_t>(entryIndex) * widthOf(*type);
    if (offset < 0 || offset + widthOf(*type) > rowLengthValue)
        return nullptr;
    return row.get() + offset;
}

namespace {
// The entry as a double, exact for every type code.
double asDouble(const unsigned char *bytes, std::int32_t type)
{
    switch (type) {
    case TelemetryMap::typeChar:
    case TelemetryMap::typeBool:
        return static_cast<signed char>(bytes[0]);
    case TelemetryMap::typeInt:
    case TelemetryMap::typeBitField: {
        std::int32_t v;
        std::memcpy(&v, bytes, sizeof v);
        return v;
    }
    case TelemetryMap::typeFloat: {
        float v;
        std::memcpy(&v, bytes, sizeof v);
        return v;
    }
    default: {
        double v;
        std::memcpy(&v, bytes, sizeof v);
        return v;
    }
    }
}
} // namespace

bool TelemetryClient::readBool(std::int32_t index, std::int32_t entryIndex)
{
    std::int32_t type = 0;
    const unsigned char *bytes = entry(index, entryIndex, &type);
    if (!bytes)
        return false;
    const double value = asDouble(bytes, type);
    // Integers are true when not 0; floating values from 1.0 up (a NaN is false).
    return type <= TelemetryMap::typeBitField ? value != 0.0 : value >= 1.0;
}

std::int32_t TelemetryClient::readInt(std::int32_t index, std::int32_t entryIndex)
{
    std::int32_t type = 0;
    const unsigned char *bytes = entry(index, entryIndex, &type);
    return bytes ? truncated(asDouble(bytes, type)) : 0;
}

float TelemetryClient::readFloat(std::int32_t index, std::int32_t entryIndex)
{
    std::int32_t type = 0;
    const unsigned char *bytes = entry(index, entryIndex, &type);
    return bytes ? static_cast<float>(asDouble(bytes, type)) : 0.0f;
}

double TelemetryClient::readDouble(std::int32_t index, std::int32_t entryIndex)
{
    std::int32_t type = 0;
    const unsigned char *bytes = entry(index, entryIndex, &type);
    return bytes ? asDouble(bytes, type) : 0.0;
}

std::int32_t TelemetryClient::sessionValue(const char *path, char *buffer, std::int32_t size)
{
    if (!row || !TelemetryMap::isLive() || !path || !buffer || size < 1)
        return 0;
    std::size_t available = 0;
    const char *text = TelemetryMap::sessionText(&available);
    const char *value = nullptr;
    std::int32_t length = 0;
    if (!findSessionValue(text, available, path, &value, &length))
        return 0;
    if (length < size) {
        if (length > 0)
            std::memcpy(buffer, value, static_cast<std::size_t>(length));
        buffer[length] = '\0';
        return 1;
    }
    std::memcpy(buffer, value, static_cast<std::size_t>(size - 1));
    buffer[size - 1] = '\0';
    return -length;
}
