#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "ptlock.h"

// One opened module container. The texts and `data` are malloc-allocated; CZsmHelper::FreeZsoFile ends all of
// it.
struct __ZsoFile {
    char* keyid;          // 3 characters; tells the module which of its keys to use
    char* key;            // null when the container has none
    char* algoid;         // null when the container has none
    uint32_t size;        // bytes of `data`; 0 when nothing was unpacked
    unsigned char* data;  // the shared object
    void* dh;             // handle of dlopen, or null
    char* tmpn;           // path of the temporary module file; it is deleted with the record
};

// Where the text that a module decodes goes. A module only hands it through to the callback.
struct __ZsoDecodeInfo {
    int ret;              // 0, or -1 when the buffer was too small
    uint32_t size;        // in: bytes of the buffer; out: bytes that the text needs with its NUL
    unsigned char* data;  // the buffer; may be null while `size` is 0
};

// Receives a module's decoded text: a text that is not used, the text itself, and where it goes.
using ZsmPPCB = void (*)(const char* unused, const char* text, __ZsoDecodeInfo* info);

// The algorithm module that the portal supplies: a shared object, packed in a container file, which encodes
// what is posted to the portal and decodes what it answers. Nothing stays open or loaded between two
// operations, so that the container which Update writes is the one that the next operation uses.
//
// Belongs to the portal work thread and to whoever shuts the business down after it: Init comes before that
// thread runs. The guards over m_zsmLock therefore take no lock (GNothing); two operations at the same time
// would write each other's temporary file, "protect.so" in the working folder.
//
// A module must leave memory at dlclose. One that pins itself (a GNU-unique symbol, "nodelete") is found
// again under the name of the temporary file, and its successor is not seen before the service restarts.
class CZsmHelper {
  public:
    // Containers and modules beyond this many bytes are refused: real modules have some 100 KiB, and a size
    // field that claims gigabytes must not be believed. Container and module are in memory at the same time.
    static constexpr uint32_t kMaxSize = 16 * 1024 * 1024;
    // Decoded texts likewise, which real ones fill with some KiB.
    static constexpr uint32_t kMaxText = 4 * 1024 * 1024;

    CZsmHelper(const CZsmHelper&) = delete;
    CZsmHelper& operator=(const CZsmHelper&) = delete;

    // Created at the first call, without a lock, and never destroyed.
    static CZsmHelper* GetInst();

    // Sets the path of the container file, at most 1023 characters of it; the file need not exist. The key is
    // ignored. Always 1.
    int Init(const char* path, char* key, unsigned long keyLength);
    // Has nothing to release, as nothing stays open.
    void Release();
    // The container's algorithm id, at most 99 characters of it; valid until the next call. The all-zero id
    // while no module can be loaded, whatever was read before.
    const char* GetAlgoId();
    // Stores a new container exactly as received; the next operation finds out whether it is one. 1 when it
    // was written, 0 when `data` is null, -1 on failure, which is logged and leaves the old one whole.
    int Update(char* data, unsigned long length);

    // The encoded text, to be freed with FreeResult; never null. A missing or failing module gives the text
    // "tarce log algo auto compstr null value", which is then what the portal receives. Null counts as empty.
    char* Code(const char* input);
    // The decoded text, to be freed with FreeResult, or null when the module is missing or fails. Null counts
    // as empty.
    char* DeCode(const char* input);
    // Frees what Code or DeCode returned; null is allowed.
    void FreeResult(const char* text);

    // Reads and unpacks a container without loading the module. Null when the file is no whole container or
    // its stream does not end at exactly the recorded size. Bytes behind the stream, in the restored text, do
    // no harm.
    static __ZsoFile* loadZsoModule(const char* path);
    // Unloads the module, deletes its temporary file and frees the record, which becomes null. Null is
    // allowed.
    static void FreeZsoFile(__ZsoFile*& module);

    int UpdateZsm(char* data, unsigned long length);
    // The container's module, loaded, or null with nothing left behind.
    __ZsoFile* openZsmModule();

    // Writes the module to `path`, which it then names in `tmpn`. 1, or 0 with a file that is possibly half
    // written; FreeZsoFile deletes it either way. What stood at `path` before is replaced, never followed.
    static int writeTmpSo(char* path, __ZsoFile* module);
    // Reads a text of `fixedLength` bytes, or with 0 one whose length is the byte in front of it. `out` is
    // malloc-allocated and terminated, or null for a length of 0. 1, or 0 when the file ends too early: `out`
    // is then untouched or holds a part, for the caller to free.
    static int zsoReadString(char** out, FILE* file, unsigned char fixedLength);

    // Not used by the service. For whoever looks at a container by other means than loading its module.
    //
    // Always 1, whether or not there is a container file.
    int IsUpdated();
    // Unpacks `source` as far as the room of `destination` goes; 0 also when the stream would go on, or ended
    // in front of the end of `source`. The lengths are the room and the input going in, what was produced and
    // consumed coming out, on failure as well.
    static int LzmaUncompress(unsigned char* destination, size_t* destinationLength,
                              const unsigned char* source, size_t* sourceLength,
                              const unsigned char* properties, size_t propertiesSize);

  private:
    CZsmHelper() = default;

    // Fills `data` and `size` from what follows the container's texts; the stream is restored in place. False
    // when it is not a module's.
    static bool UnpackModule(unsigned char* packed, size_t length, __ZsoFile* module);

    [[maybe_unused]] char m_pDefaultZsm[1024] = {};  // not used by the service; stays zeroed

    char m_pZsm[1024] = {};                                        // path of the container file
    char m_pAlgoId[100] = "00000000-0000-0000-0000-000000000000";  // the last one read
    static CZsmHelper* m_pHelper;
    RWLock m_zsmLock;
};
