#include "ModuleContainer.h"

#include <LzmaDec.h>
#include <LzmaEnc.h>

#include <cstdlib>

namespace {

constexpr size_t kKeyIdLength = 3;
constexpr size_t kMaxTextLength = 255;
constexpr size_t kSizeFieldLength = 4;
constexpr UInt32 kDictionarySize = 1 << 20;  // larger than most modules; a reader needs no memory for it
// Room for what the encoder adds to data that cannot be compressed.
constexpr size_t kEncoderMargin = 4096;

void* Allocate(void* /*allocator*/, size_t size) {
    return malloc(size);
}

void Free(void* /*allocator*/, void* address) {
    free(address);
}

ISzAlloc theAllocator = {Allocate, Free};

Byte* Bytes(std::string& text) {
    return reinterpret_cast<Byte*>(&text[0]);
}

const Byte* Bytes(const std::string& text) {
    return reinterpret_cast<const Byte*>(text.data());
}

// Every byte but the last is stored combined with the one behind it.
void Scramble(std::string& stream) {
    for (size_t position = 1; position < stream.size(); ++position) {
        stream[position - 1] = static_cast<char>(stream[position - 1] ^ stream[position]);
    }
}

void Unscramble(std::string& stream) {
    for (size_t position = stream.size(); position > 1; --position) {
        stream[position - 2] = static_cast<char>(stream[position - 2] ^ stream[position - 1]);
    }
}

bool CheckContent(const ModuleContainer& content, std::string& error) {
    if (content.keyId.size() != kKeyIdLength) {
        error = "the key id must have 3 characters";
    } else if (content.key.size() > kMaxTextLength) {
        error = "the key is longer than 255 bytes";
    } else if (content.algorithmId.empty() || content.algorithmId.size() > kMaxTextLength) {
        error = "the algorithm id must have 1 to 255 bytes";
    } else if (content.module.empty()) {
        error = "the module is empty";
    } else if (content.module.size() > kMaxModuleSize) {
        error = "the module is larger than 16 MiB";
    } else {
        return true;
    }
    return false;
}

bool Compress(const std::string& module, StreamEnd streamEnd, std::string& properties, std::string& stream) {
    CLzmaEncProps settings;
    LzmaEncProps_Init(&settings);
    settings.dictSize = kDictionarySize;
    properties.resize(LZMA_PROPS_SIZE);
    SizeT propertiesSize = properties.size();
    stream.resize(module.size() + module.size() / 2 + kEncoderMargin);
    SizeT streamSize = stream.size();
    const SRes result =
        LzmaEncode(Bytes(stream), &streamSize, Bytes(module), module.size(), &settings, Bytes(properties),
                   &propertiesSize, streamEnd == StreamEnd::kByMark, nullptr, &theAllocator, &theAllocator);
    stream.resize(streamSize);
    return result == SZ_OK;
}

void AppendText(std::string& bytes, const std::string& text) {
    bytes += static_cast<char>(text.size());
    bytes += text;
}

void AppendSize(std::string& bytes, size_t size) {
    for (size_t index = 0; index < kSizeFieldLength; ++index) {
        bytes += static_cast<char>(size >> (8 * index) & 0xff);
    }
}

// Walks a container from its front; every take fails when fewer bytes are left.
class Reader {
  public:
    explicit Reader(const std::string& bytes) : m_bytes(bytes) {}

    bool Take(size_t length, std::string& out) {
        if (m_bytes.size() - m_position < length) {
            return false;
        }
        out = m_bytes.substr(m_position, length);
        m_position += length;
        return true;
    }

    bool TakeText(std::string& out) {
        std::string length;
        return Take(1, length) && Take(static_cast<unsigned char>(length[0]), out);
    }

    bool TakeSize(uint32_t& out) {
        std::string field;
        if (!Take(kSizeFieldLength, field)) {
            return false;
        }
        out = 0;
        for (size_t index = kSizeFieldLength; index > 0; --index) {
            out = out << 8 | static_cast<unsigned char>(field[index - 1]);
        }
        return true;
    }

    std::string Rest() const { return m_bytes.substr(m_position); }

  private:
    const std::string& m_bytes;
    size_t m_position = 0;
};

bool Decompress(const std::string& properties, const std::string& stream, uint32_t size,
                std::string& module) {
    module.resize(size);
    SizeT produced = size;
    SizeT consumed = stream.size();
    ELzmaStatus status = LZMA_STATUS_NOT_SPECIFIED;
    const SRes result =
        LzmaDecode(Bytes(module), &produced, Bytes(stream), &consumed, Bytes(properties),
                   static_cast<unsigned>(properties.size()), LZMA_FINISH_END, &status, &theAllocator);
    return result == SZ_OK && produced == size && consumed == stream.size();
}

}  // namespace

bool PackContainer(const ModuleContainer& content, StreamEnd streamEnd, std::string& bytes,
                   std::string& error) {
    if (!CheckContent(content, error)) {
        return false;
    }
    std::string properties;
    std::string stream;
    if (!Compress(content.module, streamEnd, properties, stream)) {
        error = "the module cannot be compressed";
        return false;
    }
    Scramble(stream);

    std::string packed = content.keyId;
    AppendText(packed, content.key);
    AppendText(packed, content.algorithmId);
    packed += properties;
    AppendSize(packed, content.module.size());
    packed += stream;
    bytes = packed;
    return true;
}

bool UnpackContainer(const std::string& bytes, ModuleContainer& content, std::string& error) {
    Reader reader(bytes);
    ModuleContainer read;
    std::string properties;
    uint32_t size = 0;
    if (!reader.Take(kKeyIdLength, read.keyId) || !reader.TakeText(read.key) ||
        !reader.TakeText(read.algorithmId) || !reader.Take(LZMA_PROPS_SIZE, properties) ||
        !reader.TakeSize(size)) {
        error = "the container is too short";
        return false;
    }
    if (size == 0 || size > kMaxModuleSize) {
        error = "the recorded module size is not between 1 byte and 16 MiB";
        return false;
    }
    std::string stream = reader.Rest();
    Unscramble(stream);
    if (!Decompress(properties, stream, size, read.module)) {
        error = "the packed stream is damaged or does not have the recorded size";
        return false;
    }
    content = read;
    return true;
}
