#include "ZsmHelper.h"

#include <LzmaDec.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "AutoMemory.h"
#include "FileUtil.h"
#include "Log.h"
#include "SimpleFile.h"
#include "TextUtil.h"
#include "guard.h"

namespace {

constexpr char kNoAlgorithmId[] = "00000000-0000-0000-0000-000000000000";

// What is posted when no module encodes; the portal knows it in this spelling.
constexpr char kFallbackText[] = "tarce log algo auto compstr null value";
constexpr size_t kFallbackSize = 50;

constexpr char kTemporaryName[] = "protect.so";
constexpr size_t kMaxFolderSize = 1024;
constexpr mode_t kTemporaryMode = S_IRWXU;

// Container layout behind the three texts: properties, unpacked size (little-endian), packed stream.
constexpr unsigned char kKeyIdLength = 3;
constexpr size_t kPropertiesSize = LZMA_PROPS_SIZE;
constexpr size_t kSizeFieldSize = 4;
constexpr size_t kStreamOffset = kPropertiesSize + kSizeFieldSize;

constexpr char kCodeSymbol[] = "Code";
constexpr char kFreeResultSymbol[] = "FreeResult";
constexpr char kPrepareSymbol[] = "Prepare";
using CodeFunction = char* (*)(const char* text);
using FreeResultFunction = void (*)(char* result);
using PrepareFunction = int (*)(const char* keyId, const char* text, ZsmPPCB callback, __ZsoDecodeInfo* info);
constexpr int kPrepared = 1;
constexpr int kBufferTooSmall = -1;

struct ModuleCloser {
    void operator()(__ZsoFile* module) const { CZsmHelper::FreeZsoFile(module); }
};
using ModuleOwner = std::unique_ptr<__ZsoFile, ModuleCloser>;

void* SzAlloc(void* /*allocator*/, size_t size) {
    return malloc(size);
}

void SzFree(void* /*allocator*/, void* address) {
    free(address);
}

ISzAlloc lzmaAllocator = {SzAlloc, SzFree};

// As CZsmHelper::LzmaUncompress. `finish` says whether the stream has to end where the room does. The decoder
// takes `destination` for its dictionary, so a huge dictionary size in the properties costs nothing.
int Unpack(unsigned char* destination, size_t* destinationLength, const unsigned char* source,
           size_t* sourceLength, const unsigned char* properties, size_t propertiesSize,
           ELzmaFinishMode finish) {
    ELzmaStatus status = LZMA_STATUS_NOT_SPECIFIED;
    return LzmaDecode(destination, destinationLength, source, sourceLength, properties,
                      static_cast<unsigned>(propertiesSize), finish, &status, &lzmaAllocator);
}

template <typename Function>
Function FindSymbol(const __ZsoFile& module, const char* name) {
    return reinterpret_cast<Function>(dlsym(module.dh, name));
}

uint32_t ReadLittleEndian(const unsigned char* bytes) {
    uint32_t value = 0;
    for (size_t index = kSizeFieldSize; index > 0; --index) {
        value = value << 8 | bytes[index - 1];
    }
    return value;
}

// The stream is stored with every byte but the last combined with its successor.
void RestoreChain(unsigned char* stream, size_t length) {
    for (size_t index = length; index > 1; --index) {
        stream[index - 2] ^= stream[index - 1];
    }
}

// For the log: "Create File %s fail" and so on.
const char* StepName(FileFault fault) {
    switch (fault) {
        case FileFault::kCreate: return "Create";
        case FileFault::kWrite: return "Write";
        default: return "Close";
    }
}

// Where a module is unpacked to.
std::string TemporaryPath() {
    char folder[kMaxFolderSize];
    char path[sizeof(folder) + sizeof(kTemporaryName)];
    (void)CSimpleFile::GetModulePath(folder, sizeof(folder));                    // always 1
    (void)CSimpleFile::PathCombine(path, sizeof(path), folder, kTemporaryName);  // both fit
    return path;
}

// Reads what is left of `file` into `rest`. False when that is nothing, too much, or cannot be read.
bool ReadRest(FILE* file, CAutoMemory<unsigned char>& rest) {
    const long position = ftell(file);
    if (position < 0 || fseek(file, 0, SEEK_END) != 0) {
        return false;
    }
    const long end = ftell(file);
    if (end <= position || end > static_cast<long>(CZsmHelper::kMaxSize) ||
        fseek(file, position, SEEK_SET) != 0) {
        return false;
    }
    const auto length = static_cast<size_t>(end - position);
    return fread(rest.Alloc(length), 1, length, file) == length;
}

// The callback of Prepare. Once the buffer was too small, `size` is the size of a text and no longer that of
// the buffer; a module that calls again must not have it mistaken for one.
void TakeDecodedText(const char* /*unused*/, const char* text, __ZsoDecodeInfo* info) {
    if (info == nullptr) {
        return;
    }
    const size_t needed = strlen(OrEmpty(text)) + 1;
    if (info->ret != kBufferTooSmall && info->size >= needed) {
        memcpy(info->data, OrEmpty(text), needed);
    } else {
        info->ret = kBufferTooSmall;
    }
    info->size = static_cast<uint32_t>(needed);
}

// Calls Prepare twice: for the size of the text, then for the text. Null on failure, with the code to log in
// `result`.
char* CollectDecodedText(PrepareFunction prepare, const __ZsoFile& module, const char* input, int& result) {
    __ZsoDecodeInfo info = {};
    result = prepare(module.keyid, input, TakeDecodedText, &info);
    if (result != kPrepared) {
        return nullptr;
    }
    if (info.size > CZsmHelper::kMaxText) {
        result = kBufferTooSmall;
        return nullptr;
    }
    // A module that returns without calling back has said nothing: an empty text.
    const uint32_t size = std::max(info.size, 1U);
    std::unique_ptr<char[]> decoded(new char[size]());
    info = {0, size, reinterpret_cast<unsigned char*>(decoded.get())};
    result = prepare(module.keyid, input, TakeDecodedText, &info);
    if (result == kPrepared && info.ret == kBufferTooSmall) {
        result = kBufferTooSmall;  // the text grew between the calls
    }
    if (result != kPrepared) {
        return nullptr;
    }
    decoded[size - 1] = '\0';  // holds even when the module wrote past the callback
    return decoded.release();
}

}  // namespace

CZsmHelper* CZsmHelper::m_pHelper = nullptr;

CZsmHelper* CZsmHelper::GetInst() {
    if (m_pHelper == nullptr) {
        m_pHelper = new CZsmHelper;
    }
    return m_pHelper;
}

int CZsmHelper::Init(const char* path, char* /*key*/, unsigned long /*keyLength*/) {
    const CLockGuard<GNothing> guard(m_zsmLock);
    snprintf(m_pZsm, sizeof(m_pZsm), "%s", OrEmpty(path));
    CFileUtil::RemoveLeftOvers(m_pZsm);
    (void)unlink(TemporaryPath().c_str());  // there is one only after a kill
    return 1;
}

void CZsmHelper::Release() {
    const CLockGuard<GNothing> guard(m_zsmLock);
}

int CZsmHelper::IsUpdated() {
    (void)CSimpleFile::IsFileExist(m_pZsm);  // callers go on either way: without a module there are fallbacks
    return 1;
}

const char* CZsmHelper::GetAlgoId() {
    const CLockGuard<GNothing> guard(m_zsmLock);
    const ModuleOwner module(openZsmModule());
    if (!module) {
        return kNoAlgorithmId;
    }
    snprintf(m_pAlgoId, sizeof(m_pAlgoId), "%s", OrEmpty(module->algoid));
    return m_pAlgoId;
}

int CZsmHelper::Update(char* data, unsigned long length) {
    const CLockGuard<GNothing> guard(m_zsmLock);
    return data != nullptr ? UpdateZsm(data, length) : 0;
}

int CZsmHelper::UpdateZsm(char* data, unsigned long length) {
    const FileFault fault = CFileUtil::Replace(m_pZsm, {data, length});
    if (fault != FileFault::kNone) {
        CLog::GetInst()->WriteLog(ERROR, "%s File %s fail", StepName(fault), m_pZsm);
        return -1;
    }
    return 1;
}

char* CZsmHelper::Code(const char* input) {
    const CLockGuard<GNothing> guard(m_zsmLock);
    std::unique_ptr<char[]> text(new char[kFallbackSize]());
    memcpy(text.get(), kFallbackText, sizeof(kFallbackText));
    const ModuleOwner module(openZsmModule());
    if (!module) {
        return text.release();
    }
    const auto code = FindSymbol<CodeFunction>(*module, kCodeSymbol);
    if (code == nullptr) {
        CLog::GetInst()->WriteLog(ERROR, "zsm code not find");
        return text.release();
    }
    char* encoded = code(OrEmpty(input));
    if (encoded == nullptr) {
        CLog::GetInst()->WriteLog(ERROR, "zsm code err");
        return text.release();
    }
    // The result is the module's memory and goes with it.
    const size_t size = strlen(encoded) + 1;
    text.reset(new char[size]);
    memcpy(text.get(), encoded, size);
    const auto freeResult = FindSymbol<FreeResultFunction>(*module, kFreeResultSymbol);
    if (freeResult != nullptr) {
        freeResult(encoded);
    }
    return text.release();
}

char* CZsmHelper::DeCode(const char* input) {
    const CLockGuard<GNothing> guard(m_zsmLock);
    const ModuleOwner module(openZsmModule());
    if (!module) {
        return nullptr;
    }
    const auto prepare = FindSymbol<PrepareFunction>(*module, kPrepareSymbol);
    if (prepare == nullptr) {
        CLog::GetInst()->WriteLog(ERROR, "zsm Prepare not find");
        return nullptr;
    }
    int result = 0;
    char* decoded = CollectDecodedText(prepare, *module, OrEmpty(input), result);
    if (decoded == nullptr) {
        CLog::GetInst()->WriteLog(ERROR, "zsm Prepare err %d", result);
    }
    return decoded;
}

void CZsmHelper::FreeResult(const char* text) {
    delete[] text;
}

__ZsoFile* CZsmHelper::openZsmModule() {
    if (m_pZsm[0] == '\0') {
        return nullptr;
    }
    ModuleOwner module(loadZsoModule(m_pZsm));
    if (!module) {
        return nullptr;
    }
    if (writeTmpSo(&TemporaryPath()[0], module.get()) == 0) {
        return nullptr;
    }
    module->dh = dlopen(module->tmpn, RTLD_NOW);
    return module->dh != nullptr ? module.release() : nullptr;
}

__ZsoFile* CZsmHelper::loadZsoModule(const char* path) {
    const FileOwner file(fopen(path, "rbe"));
    if (!file) {
        return nullptr;
    }
    ModuleOwner module(static_cast<__ZsoFile*>(calloc(1, sizeof(__ZsoFile))));
    CAutoMemory<unsigned char> rest;
    const bool unpacked = module && zsoReadString(&module->keyid, file.get(), kKeyIdLength) == 1 &&
                          zsoReadString(&module->key, file.get(), 0) == 1 &&
                          zsoReadString(&module->algoid, file.get(), 0) == 1 && ReadRest(file.get(), rest) &&
                          UnpackModule(rest.GetMemory(), rest.GetMemorySize(), module.get());
    return unpacked ? module.release() : nullptr;
}

int CZsmHelper::zsoReadString(char** out, FILE* file, unsigned char fixedLength) {
    size_t length = fixedLength;
    if (length == 0) {
        const int read = fgetc(file);
        if (read == EOF) {
            return 0;
        }
        length = static_cast<size_t>(read);
    }
    *out = nullptr;
    if (length == 0) {
        return 1;
    }
    *out = static_cast<char*>(calloc(1, length + 1));
    return *out != nullptr && fread(*out, 1, length, file) == length ? 1 : 0;
}

bool CZsmHelper::UnpackModule(unsigned char* packed, size_t length, __ZsoFile* module) {
    if (length <= kStreamOffset) {
        return false;
    }
    const uint32_t size = ReadLittleEndian(packed + kPropertiesSize);
    if (size == 0 || size > kMaxSize) {
        return false;
    }
    unsigned char* stream = packed + kStreamOffset;
    const size_t streamLength = length - kStreamOffset;
    RestoreChain(stream, streamLength);
    module->data = static_cast<unsigned char*>(malloc(size));
    if (module->data == nullptr) {
        return false;
    }
    // A whole stream ends where the module is complete, with a mark or without. The decoder refuses one that
    // goes on: it is another module's, or damaged. One whose mark comes too early is told by what it produced
    // only. What else is in the file is not looked at.
    size_t produced = size;
    size_t consumed = streamLength;
    const bool complete = Unpack(module->data, &produced, stream, &consumed, packed, kPropertiesSize,
                                 LZMA_FINISH_END) == SZ_OK &&
                          produced == size;
    module->size = complete ? size : 0;
    return complete;
}

int CZsmHelper::LzmaUncompress(unsigned char* destination, size_t* destinationLength,
                               const unsigned char* source, size_t* sourceLength,
                               const unsigned char* properties, size_t propertiesSize) {
    return Unpack(destination, destinationLength, source, sourceLength, properties, propertiesSize,
                  LZMA_FINISH_ANY);
}

int CZsmHelper::writeTmpSo(char* path, __ZsoFile* module) {
    (void)unlink(path);  // usually there is none; what cannot be removed makes the exclusive creation fail
    module->tmpn = strdup(path);
    CSimpleFile file;
    if (module->tmpn == nullptr || file.CreateFile(path, "wbxe") != 0) {
        return 0;
    }
    const bool written = chmod(path, kTemporaryMode) == 0 &&
                         file.WriteFile(module->data, module->size) == 0 && file.CloseFile() == 0;
    return written ? 1 : 0;
}

void CZsmHelper::FreeZsoFile(__ZsoFile*& module) {
    if (module == nullptr) {
        return;
    }
    free(module->keyid);
    free(module->key);
    free(module->algoid);
    free(module->data);
    module->size = 0;
    if (module->dh != nullptr) {
        dlclose(module->dh);
    }
    if (!IsNullOrEmpty(module->tmpn)) {
        unlink(module->tmpn);
    }
    free(module->tmpn);
    free(module);
    module = nullptr;
}
