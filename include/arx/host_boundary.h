#pragma once
// The binary records and function tables exchanged with the host process.
//
// The host and the module are built apart, so every record here is a contract told by byte
// offsets. The historical layout used 32-bit pointers; this build is LP64 and has a layout of its
// own, derived by one rule: keep every field in its place in the order, keep packed records
// packed, and widen every pointer (and every word that holds one) to 8 bytes. Counts, sizes, codes
// and `clientId` stay 32-bit. Records that are not packed take natural alignment, so the gaps
// listed as "(pad)" below are real and are never read. Every offset is checked at compile time at
// the end of this file.
//
// Little-endian throughout. Strings are NUL-terminated unless a length travels beside them.

#include <cstddef>
#include <cstdint>

namespace Tavix::Client {

struct HostValue;
struct HostMapEntry;
struct HostRequest;
struct HostResponse;
struct HostEvent;
struct HostHeader;
struct HostOperations;
struct HostInterface;
struct MemoryCounters;
struct ApiDescription;

// ---------------------------------------------------------------------------------------------
// Tagged value
// ---------------------------------------------------------------------------------------------

// Tags of HostValue. Borrowed payloads stay with whoever built the value; owned payloads (and
// everything under a collection or structure) come from the module's tracked allocator and are
// freed with the value.
inline constexpr std::uint32_t kHostValueNone = 0;
inline constexpr std::uint32_t kHostValueBool = 1;
inline constexpr std::uint32_t kHostValueSigned = 2;
inline constexpr std::uint32_t kHostValueUnsigned = 3;
inline constexpr std::uint32_t kHostValueFloat = 4;
inline constexpr std::uint32_t kHostValueBorrowedString = 5;
inline constexpr std::uint32_t kHostValueOwnedString = 6;
inline constexpr std::uint32_t kHostValueBorrowedBlob = 7;
inline constexpr std::uint32_t kHostValueOwnedBlob = 8;
inline constexpr std::uint32_t kHostValueCollection = 9;
inline constexpr std::uint32_t kHostValueStructure = 10;

#pragma pack(push, 1)

// Payload of the string tags: the text is NUL-terminated and `length` excludes the NUL.
struct HostText {
    const char* data;      // 0
    std::uint32_t length;  // 8
};                         // 12 bytes

struct HostBlob {
    const void* data;    // 0
    std::uint32_t size;  // 8, in bytes
};                       // 12 bytes

struct HostValueArray {
    HostValue* items;     // 0, 16-byte stride
    std::uint32_t count;  // 8
};                        // 12 bytes

struct HostEntryArray {
    HostMapEntry* entries;  // 0, 25-byte stride
    std::uint32_t count;    // 8
};                          // 12 bytes

// The payload read depends on the tag; the union is never read through another member.
union HostValuePayload {
    std::uint8_t boolean;         // tag 1: non-zero is true
    std::int64_t signedValue;     // tag 2
    std::uint64_t unsignedValue;  // tag 3
    double floatValue;            // tag 4
    HostText text;                // tags 5, 6
    HostBlob blob;                // tags 7, 8
    HostValueArray collection;    // tag 9
    HostEntryArray structure;     // tag 10
    unsigned char raw[12];
};

// Packed, 16 bytes (12 with 32-bit pointers):
//   0  tag (u32)
//   4  payload: bool (u8) | i64 | u64 | f64 | pointer (8) at 4 with count/length (u32) at 12
struct HostValue {
    std::uint32_t tag;
    HostValuePayload payload;
};

// Packed, 25 bytes (17 with 32-bit pointers):
//   0  key, NUL-terminated
//   8  value (HostValue)
//  24  keyOwned: non-zero when the key is freed with the entry
struct HostMapEntry {
    const char* key;
    HostValue value;
    std::uint8_t keyOwned;
};

// Packed, 94 bytes (62 with 32-bit pointers). The caller of SendRequest zeroes it; whoever
// answers fills it; the caller reads it and then calls `release` when that is set.
//   0  value (HostValue): the result when the response is not streamed
//  16  errorText: null means success; set means failure whatever `value` holds
//  24  errorTextOwned (u8): the module's answers own their error text
//  25  flag (u8): carried through from a handler's result, no meaning to the module
//  26  mode (u32): likewise; only 1, 2 and 3 are ever passed on
//  30  status (u32): HTTP status; 0 leaves the choice to the host
//  34  statusText: owned text, or a pointer to an empty text
//  42  headers: array of owned header pairs
//  50  headerCount (u32)
//  54  streamRead: null when the response is not streamed
//  62  streamClose: may be null
//  70  streamSize (u32): expected size of the streamed text, a buffer hint
//  74  reserved (u32): always 0
//  78  streamContext: first argument of streamRead and streamClose
//  86  release: may be null; frees what the record owns and zeroes it
struct HostResponse {
    HostValue value;
    const char* errorText;
    std::uint8_t errorTextOwned;
    std::uint8_t flag;
    std::uint32_t mode;
    std::uint32_t status;
    const char* statusText;
    HostHeader* headers;
    std::uint32_t headerCount;
    // Fills `buffer` with at most `*size` bytes, stores the count in `*size`, and sets `*more`
    // to false at the end of the stream. A short read with `more` still true means "not yet".
    bool (*streamRead)(void* context, char* buffer, std::uint32_t* size, bool* more);
    void (*streamClose)(void* context);
    std::uint32_t streamSize;
    std::uint32_t reserved;
    void* streamContext;
    void (*release)(HostResponse* response);
};

#pragma pack(pop)

// ---------------------------------------------------------------------------------------------
// Requests and events (natural alignment)
// ---------------------------------------------------------------------------------------------

// 16 bytes: name at 0, value at 8. Both strings of a pair are owned when a module's answer
// carries them in a HostResponse.
struct HostHeader {
    const char* name;
    const char* value;
};

// 24 bytes (16 with 32-bit pointers):
//   0  name: null for a positional parameter
//   8  value (HostValue)
struct HostParameter {
    const char* name;
    HostValue value;
};

// Method codes of HostRequest. 0 is never sent; a route declared with it accepts any method.
inline constexpr std::uint32_t kMethodAny = 0;
inline constexpr std::uint32_t kMethodDelete = 1;
inline constexpr std::uint32_t kMethodGet = 2;
inline constexpr std::uint32_t kMethodHead = 3;
inline constexpr std::uint32_t kMethodOptions = 4;
inline constexpr std::uint32_t kMethodPatch = 5;
inline constexpr std::uint32_t kMethodPost = 6;
inline constexpr std::uint32_t kMethodPut = 7;
// The method is named by the text in HostRequest::methodName.
inline constexpr std::uint32_t kMethodNamed = 8;

// The upper-case name of a method code; "" for 0, 8 and unknown codes.
constexpr const char* HostMethodText(std::uint32_t method) {
    switch (method) {
        case kMethodDelete:
            return "DELETE";
        case kMethodGet:
            return "GET";
        case kMethodHead:
            return "HEAD";
        case kMethodOptions:
            return "OPTIONS";
        case kMethodPatch:
            return "PATCH";
        case kMethodPost:
            return "POST";
        case kMethodPut:
            return "PUT";
        default:
            return "";
    }
}

// 88 bytes (48 with 32-bit pointers), zeroed before it is filled. The fields from callContext to
// bodySize and methodName are only set on a request that arrives at a module's call entry; the
// module's own requests leave them zero.
//   0  method (u32)
//   4  (pad)
//   8  url
//  16  parameters
//  24  parameterCount (u32)
//  28  (pad)
//  32  callContext: the context word of the function record the host picked
//  40  headers
//  48  headerCount (u32)
//  52  (pad)
//  56  contentType: of the body
//  64  body
//  72  bodySize (u32), in bytes
//  76  clientId (u32)
//  80  methodName: for kMethodNamed
struct HostRequest {
    std::uint32_t method;
    const char* url;
    const HostParameter* parameters;
    std::uint32_t parameterCount;
    void* callContext;
    const HostHeader* headers;
    std::uint32_t headerCount;
    const char* contentType;
    const char* body;
    std::uint32_t bodySize;
    std::uint32_t clientId;
    const char* methodName;
};

// 40 bytes (24 with 32-bit pointers):
//   0  name
//   8  payload (HostValue)
//  24  reserved (u32): always 0
//  28  (pad)
//  32  context: what was given to SubscribeToEvent on the way in; null on the way out
struct HostEvent {
    const char* name;
    HostValue payload;
    std::uint32_t reserved;
    void* context;
};

// ---------------------------------------------------------------------------------------------
// API description (packed records)
// ---------------------------------------------------------------------------------------------

// Each record of a table lies in one array with the others; `next` points to the following record
// of the array and is null in the last one. Texts are never null (an absent text is ""); a tag
// list is an array of texts. A kind is a kind number of the module's type registry, 1 to 19
// ("bool" to "map"), 0 for none. A type name is set for the kinds vector, enum, struct and map
// when the type is declared, and "" otherwise.

// Where the dispatcher takes an argument from. 3 is never used; a location outside 1 to 5 counts
// as anywhere.
inline constexpr std::uint32_t kArgumentAnywhere = 0;
inline constexpr std::uint32_t kArgumentQuery = 1;
inline constexpr std::uint32_t kArgumentPath = 2;
inline constexpr std::uint32_t kArgumentHeader = 4;
inline constexpr std::uint32_t kArgumentBody = 5;

#pragma pack(push, 1)

// Packed, 41 bytes (25 with 32-bit pointers):
//   0  next   8  name   16  description   24  kind (u32)   28  elementKind (u32)
//  32  typeName   40  optional (u8)
struct HostArgumentRecord {
    const HostArgumentRecord* next;
    const char* name;
    const char* description;
    std::uint32_t kind;
    std::uint32_t elementKind;
    const char* typeName;
    std::uint8_t optional;
};

// Packed, 101 bytes (61 with 32-bit pointers): the description of one function, the head of a
// HostFunctionRecord.
//   0  next: in ApiDescription, the head of the next HostFunctionRecord
//   8  reserved (u32): always 0
//  12  callContext: in ApiDescription, what the host puts into HostRequest::callContext
//  20  name   28  nameSpace   36  arguments   44  argumentCount (u32)
//  48  returnKind (u32)   52  returnElementKind (u32)   56  returnTypeName
//  64  description   72  help   80  threadSafe (u8): always 0, calls are serial
//  81  asyncResultTypeName: "" unless the function is asynchronous
//  89  tags   97  tagCount (u32)
struct HostFunctionHead {
    const HostFunctionHead* next;
    std::uint32_t reserved;
    void* callContext;
    const char* name;
    const char* nameSpace;
    const HostArgumentRecord* arguments;
    std::uint32_t argumentCount;
    std::uint32_t returnKind;
    std::uint32_t returnElementKind;
    const char* returnTypeName;
    const char* description;
    const char* help;
    std::uint8_t threadSafe;
    const char* asyncResultTypeName;
    const char* const* tags;
    std::uint32_t tagCount;
};

// Packed, 12 bytes (8 with 32-bit pointers): one per argument, in argument order.
//   0  next   8  location (u32): kArgumentAnywhere ... kArgumentBody
struct HostArgumentLocationRecord {
    const HostArgumentLocationRecord* next;
    std::uint32_t location;
};

// Packed, 20 bytes (12 with 32-bit pointers).
//   0  next   8  strings   16  count (u32)
struct HostStringListRecord {
    const HostStringListRecord* next;
    const char* const* strings;
    std::uint32_t count;
};

// How the host calls a function: `callContext` of the request must be the record's. The module
// fills the response as a whole, release function included, whatever it held before; the host
// reads it and then calls `release`.
using HostCallEntry = void (*)(HostResponse* response, const HostRequest* request);

// Packed, 150 bytes (90 with 32-bit pointers): one REST route of the module.
//   0  head (HostFunctionHead)
// 101  callEntry
// 109  locations: argumentCount records
// 117  url: the template, e.g. "/arx-matchmaking/v1/search/errors/{id}"; "{name}" is one path
//      segment, "{+name}" the rest of the path, "{#name}" what follows a "#"
// 125  method (u32): a method code, kMethodAny for any method
// 129  flag (u8): always 0
// 130  stringLists   138  stringListCount (u32): always none
// 142  methodText: the method's name for kMethodNamed, "" otherwise
struct HostFunctionRecord {
    HostFunctionHead head;
    HostCallEntry callEntry;
    const HostArgumentLocationRecord* locations;
    const char* url;
    std::uint32_t method;
    std::uint8_t flag;
    const HostStringListRecord* stringLists;
    std::uint32_t stringListCount;
    const char* methodText;
};

// The names of the function records through which a module that offers them describes itself,
// whatever their URLs: its whole registry in the Full help form, and its OpenAPI 3.0 document.
// Both take a GET of the record's URL with no arguments and answer a value.
inline constexpr const char* kHelpFunction = "Help";
inline constexpr const char* kOpenApiFunction = "OpenApi";

// Packed, 45 bytes (29 with 32-bit pointers):
//   0  next   8  name   16  description   24  offset (u32): in the native record
//  28  kind (u32)   32  elementKind (u32)   36  typeName   44  optional (u8)
struct HostFieldRecord {
    const HostFieldRecord* next;
    const char* name;
    const char* description;
    std::uint32_t offset;
    std::uint32_t kind;
    std::uint32_t elementKind;
    const char* typeName;
    std::uint8_t optional;
};

// Packed, 28 bytes (16 with 32-bit pointers):
//   0  next   8  name   16  description   24  number (i32)
struct HostEnumeratorRecord {
    const HostEnumeratorRecord* next;
    const char* name;
    const char* description;
    std::int32_t number;
};

// Packed, 68 bytes (40 with 32-bit pointers). A struct with fields sets `fields` and leaves
// `enumerators` null; any other type the other way round; `count` belongs to the one that is set.
//   0  next   8  name   16  nameSpace   24  size (u32)   28  description
//  36  tags   44  tagCount (u32)   48  fields   56  enumerators   64  count (u32)
struct HostTypeRecord {
    const HostTypeRecord* next;
    const char* name;
    const char* nameSpace;
    std::uint32_t size;
    const char* description;
    const char* const* tags;
    std::uint32_t tagCount;
    const HostFieldRecord* fields;
    const HostEnumeratorRecord* enumerators;
    std::uint32_t count;
};

// Packed, 52 bytes (28 with 32-bit pointers):
//   0  next   8  name   16  nameSpace   24  typeName: of the event's data
//  32  description   40  tags   48  tagCount (u32)
struct HostEventRecord {
    const HostEventRecord* next;
    const char* name;
    const char* nameSpace;
    const char* typeName;
    const char* description;
    const char* const* tags;
    std::uint32_t tagCount;
};

#pragma pack(pop)

// 48 bytes (24 with 32-bit pointers): three (records, count) pairs, each pointer at a multiple
// of 16 and its count 8 bytes further. The records themselves belong to the module and die with
// Shutdown.
//   0  functions      8  functionCount (u32)
//  16  types         24  typeCount (u32)
//  32  events        40  eventCount (u32)
struct ApiDescription {
    const HostFunctionRecord* functions;
    std::uint32_t functionCount;
    const HostTypeRecord* types;
    std::uint32_t typeCount;
    const HostEventRecord* events;
    std::uint32_t eventCount;
};

// ---------------------------------------------------------------------------------------------
// Load block and operation tables
// ---------------------------------------------------------------------------------------------

// 56 bytes, unchanged by pointer width:
//   0 peakLiveBytes  8 peakLiveAllocations  16 allocatedBytes  24 allocations
//  32 freedBytes    40 frees                48 reserved (always 0)
struct MemoryCounters {
    std::uint64_t peakLiveBytes;
    std::uint64_t peakLiveAllocations;  // live allocations when the peak was reached
    std::uint64_t allocatedBytes;
    std::uint64_t allocations;
    std::uint64_t freedBytes;
    std::uint64_t frees;
    std::uint64_t reserved;
};

// 24 bytes: three entries, each taking the module handle of the load block first.
struct PluginOperations {
    bool (*Attach)(void* module, HostInterface* host);
    void (*Shutdown)(void* module);
    void (*GetMemoryCounters)(void* module, MemoryCounters* counters);
};

// 48 bytes (28 with 32-bit pointers). The host writes the core's version; the export overwrites
// the whole block.
//   0  major (u32)   4  minor (u32)   8  patch (u32)   12 (pad)
//  16  operations
//  24  module: the handle passed back to every PluginOperations entry
//  32  shortName: owned by the module
//  40  apiDescription
struct PluginLoadBlock {
    std::uint32_t major;
    std::uint32_t minor;
    std::uint32_t patch;
    PluginOperations* operations;
    void* module;
    const char* shortName;
    ApiDescription* apiDescription;
};

// The one export's type and name.
using PluginExportFunction = void (*)(PluginLoadBlock* block);
inline constexpr const char* kPluginExportName = "load_arx_matchmaking";

// 16 bytes: operations at 0, clientId (u32) at 8, (pad) at 12. The module keeps the pointer for
// its whole life.
struct HostInterface {
    HostOperations* operations;
    std::uint32_t clientId;
};

// Called by the host for each event of a subscribed name; the event's context is the one given
// to SubscribeToEvent.
using HostEventCallback = void (*)(const HostEvent* event);
// Called once by the host with the context given to ScheduleCallback.
using HostScheduledCallback = void (*)(void* context);

// 80 bytes: ten entries, each taking the table's own address first, so that a host can reach its
// own state from it. Their results are never used.
struct HostOperations {
    // Synchronous: the response is complete when it returns. The request and its strings live
    // only for the call.
    void (*SendRequest)(HostOperations* self, HostResponse* response, const HostRequest* request);
    void (*ReservedHostCall)(HostOperations* self, std::uintptr_t first, std::uintptr_t second);
    // The event and its strings live only for the call.
    void (*SendEvent)(HostOperations* self, const HostEvent* event);
    // flags: 0 for resource events, 1 for events whose handlers may run outside the module's
    // turn (LCDS, service proxy).
    void (*SubscribeToEvent)(HostOperations* self, const char* name, std::uint32_t clientId,
                             HostEventCallback callback, void* context, std::uint32_t flags);
    void (*UnsubscribeFromEvent)(HostOperations* self, const char* name, std::uint32_t clientId);
    // Runs `callback(context)` once, after `delaySeconds`, on a later turn. `reserved` is 0.
    void (*ScheduleCallback)(HostOperations* self, const char* description,
                             HostScheduledCallback callback, void* context, double delaySeconds,
                             std::uint32_t reserved);
    // Gives the host a turn; other calls into the module may run before it returns.
    void (*YieldToHost)(HostOperations* self);
    void (*BeginWait)(HostOperations* self, const char* label, std::uint32_t reserved);
    void (*EndWait)(HostOperations* self);
    // One already filtered log line. level: 0 OKAY, 1 WARN, 2 ERROR, 3 ALWAYS.
    void (*WriteLog)(HostOperations* self, std::int32_t level, const char* message);
};

// ---------------------------------------------------------------------------------------------
// Layout checks
// ---------------------------------------------------------------------------------------------

static_assert(sizeof(void*) == 8, "this layout is the LP64 one");

static_assert(sizeof(HostText) == 12 && offsetof(HostText, data) == 0 &&
              offsetof(HostText, length) == 8);
static_assert(sizeof(HostBlob) == 12 && offsetof(HostBlob, data) == 0 &&
              offsetof(HostBlob, size) == 8);
static_assert(sizeof(HostValueArray) == 12 && offsetof(HostValueArray, items) == 0 &&
              offsetof(HostValueArray, count) == 8);
static_assert(sizeof(HostEntryArray) == 12 && offsetof(HostEntryArray, entries) == 0 &&
              offsetof(HostEntryArray, count) == 8);
static_assert(sizeof(HostValuePayload) == 12 && alignof(HostValuePayload) == 1);

static_assert(sizeof(HostValue) == 16 && alignof(HostValue) == 1);
static_assert(offsetof(HostValue, tag) == 0);
static_assert(offsetof(HostValue, payload) == 4);

static_assert(sizeof(HostMapEntry) == 25 && alignof(HostMapEntry) == 1);
static_assert(offsetof(HostMapEntry, key) == 0);
static_assert(offsetof(HostMapEntry, value) == 8);
static_assert(offsetof(HostMapEntry, keyOwned) == 24);

static_assert(sizeof(HostResponse) == 94 && alignof(HostResponse) == 1);
static_assert(offsetof(HostResponse, value) == 0);
static_assert(offsetof(HostResponse, errorText) == 16);
static_assert(offsetof(HostResponse, errorTextOwned) == 24);
static_assert(offsetof(HostResponse, flag) == 25);
static_assert(offsetof(HostResponse, mode) == 26);
static_assert(offsetof(HostResponse, status) == 30);
static_assert(offsetof(HostResponse, statusText) == 34);
static_assert(offsetof(HostResponse, headers) == 42);
static_assert(offsetof(HostResponse, headerCount) == 50);
static_assert(offsetof(HostResponse, streamRead) == 54);
static_assert(offsetof(HostResponse, streamClose) == 62);
static_assert(offsetof(HostResponse, streamSize) == 70);
static_assert(offsetof(HostResponse, reserved) == 74);
static_assert(offsetof(HostResponse, streamContext) == 78);
static_assert(offsetof(HostResponse, release) == 86);

static_assert(sizeof(HostHeader) == 16);
static_assert(offsetof(HostHeader, name) == 0);
static_assert(offsetof(HostHeader, value) == 8);

static_assert(sizeof(HostParameter) == 24);
static_assert(offsetof(HostParameter, name) == 0);
static_assert(offsetof(HostParameter, value) == 8);

static_assert(sizeof(HostRequest) == 88);
static_assert(offsetof(HostRequest, method) == 0);
static_assert(offsetof(HostRequest, url) == 8);
static_assert(offsetof(HostRequest, parameters) == 16);
static_assert(offsetof(HostRequest, parameterCount) == 24);
static_assert(offsetof(HostRequest, callContext) == 32);
static_assert(offsetof(HostRequest, headers) == 40);
static_assert(offsetof(HostRequest, headerCount) == 48);
static_assert(offsetof(HostRequest, contentType) == 56);
static_assert(offsetof(HostRequest, body) == 64);
static_assert(offsetof(HostRequest, bodySize) == 72);
static_assert(offsetof(HostRequest, clientId) == 76);
static_assert(offsetof(HostRequest, methodName) == 80);

static_assert(sizeof(HostEvent) == 40);
static_assert(offsetof(HostEvent, name) == 0);
static_assert(offsetof(HostEvent, payload) == 8);
static_assert(offsetof(HostEvent, reserved) == 24);
static_assert(offsetof(HostEvent, context) == 32);

static_assert(sizeof(HostArgumentRecord) == 41 && alignof(HostArgumentRecord) == 1);
static_assert(offsetof(HostArgumentRecord, next) == 0);
static_assert(offsetof(HostArgumentRecord, name) == 8);
static_assert(offsetof(HostArgumentRecord, description) == 16);
static_assert(offsetof(HostArgumentRecord, kind) == 24);
static_assert(offsetof(HostArgumentRecord, elementKind) == 28);
static_assert(offsetof(HostArgumentRecord, typeName) == 32);
static_assert(offsetof(HostArgumentRecord, optional) == 40);

static_assert(sizeof(HostFunctionHead) == 101 && alignof(HostFunctionHead) == 1);
static_assert(offsetof(HostFunctionHead, next) == 0);
static_assert(offsetof(HostFunctionHead, reserved) == 8);
static_assert(offsetof(HostFunctionHead, callContext) == 12);
static_assert(offsetof(HostFunctionHead, name) == 20);
static_assert(offsetof(HostFunctionHead, nameSpace) == 28);
static_assert(offsetof(HostFunctionHead, arguments) == 36);
static_assert(offsetof(HostFunctionHead, argumentCount) == 44);
static_assert(offsetof(HostFunctionHead, returnKind) == 48);
static_assert(offsetof(HostFunctionHead, returnElementKind) == 52);
static_assert(offsetof(HostFunctionHead, returnTypeName) == 56);
static_assert(offsetof(HostFunctionHead, description) == 64);
static_assert(offsetof(HostFunctionHead, help) == 72);
static_assert(offsetof(HostFunctionHead, threadSafe) == 80);
static_assert(offsetof(HostFunctionHead, asyncResultTypeName) == 81);
static_assert(offsetof(HostFunctionHead, tags) == 89);
static_assert(offsetof(HostFunctionHead, tagCount) == 97);

static_assert(sizeof(HostArgumentLocationRecord) == 12 && alignof(HostArgumentLocationRecord) == 1);
static_assert(offsetof(HostArgumentLocationRecord, next) == 0);
static_assert(offsetof(HostArgumentLocationRecord, location) == 8);

static_assert(sizeof(HostStringListRecord) == 20 && alignof(HostStringListRecord) == 1);
static_assert(offsetof(HostStringListRecord, next) == 0);
static_assert(offsetof(HostStringListRecord, strings) == 8);
static_assert(offsetof(HostStringListRecord, count) == 16);

static_assert(sizeof(HostFunctionRecord) == 150 && alignof(HostFunctionRecord) == 1);
static_assert(offsetof(HostFunctionRecord, head) == 0);
static_assert(offsetof(HostFunctionRecord, callEntry) == 101);
static_assert(offsetof(HostFunctionRecord, locations) == 109);
static_assert(offsetof(HostFunctionRecord, url) == 117);
static_assert(offsetof(HostFunctionRecord, method) == 125);
static_assert(offsetof(HostFunctionRecord, flag) == 129);
static_assert(offsetof(HostFunctionRecord, stringLists) == 130);
static_assert(offsetof(HostFunctionRecord, stringListCount) == 138);
static_assert(offsetof(HostFunctionRecord, methodText) == 142);

static_assert(sizeof(HostFieldRecord) == 45 && alignof(HostFieldRecord) == 1);
static_assert(offsetof(HostFieldRecord, next) == 0);
static_assert(offsetof(HostFieldRecord, name) == 8);
static_assert(offsetof(HostFieldRecord, description) == 16);
static_assert(offsetof(HostFieldRecord, offset) == 24);
static_assert(offsetof(HostFieldRecord, kind) == 28);
static_assert(offsetof(HostFieldRecord, elementKind) == 32);
static_assert(offsetof(HostFieldRecord, typeName) == 36);
static_assert(offsetof(HostFieldRecord, optional) == 44);

static_assert(sizeof(HostEnumeratorRecord) == 28 && alignof(HostEnumeratorRecord) == 1);
static_assert(offsetof(HostEnumeratorRecord, next) == 0);
static_assert(offsetof(HostEnumeratorRecord, name) == 8);
static_assert(offsetof(HostEnumeratorRecord, description) == 16);
static_assert(offsetof(HostEnumeratorRecord, number) == 24);

static_assert(sizeof(HostTypeRecord) == 68 && alignof(HostTypeRecord) == 1);
static_assert(offsetof(HostTypeRecord, next) == 0);
static_assert(offsetof(HostTypeRecord, name) == 8);
static_assert(offsetof(HostTypeRecord, nameSpace) == 16);
static_assert(offsetof(HostTypeRecord, size) == 24);
static_assert(offsetof(HostTypeRecord, description) == 28);
static_assert(offsetof(HostTypeRecord, tags) == 36);
static_assert(offsetof(HostTypeRecord, tagCount) == 44);
static_assert(offsetof(HostTypeRecord, fields) == 48);
static_assert(offsetof(HostTypeRecord, enumerators) == 56);
static_assert(offsetof(HostTypeRecord, count) == 64);

static_assert(sizeof(HostEventRecord) == 52 && alignof(HostEventRecord) == 1);
static_assert(offsetof(HostEventRecord, next) == 0);
static_assert(offsetof(HostEventRecord, name) == 8);
static_assert(offsetof(HostEventRecord, nameSpace) == 16);
static_assert(offsetof(HostEventRecord, typeName) == 24);
static_assert(offsetof(HostEventRecord, description) == 32);
static_assert(offsetof(HostEventRecord, tags) == 40);
static_assert(offsetof(HostEventRecord, tagCount) == 48);

static_assert(sizeof(ApiDescription) == 48);
static_assert(offsetof(ApiDescription, functions) == 0);
static_assert(offsetof(ApiDescription, functionCount) == 8);
static_assert(offsetof(ApiDescription, types) == 16);
static_assert(offsetof(ApiDescription, typeCount) == 24);
static_assert(offsetof(ApiDescription, events) == 32);
static_assert(offsetof(ApiDescription, eventCount) == 40);

static_assert(sizeof(MemoryCounters) == 56);
static_assert(offsetof(MemoryCounters, peakLiveBytes) == 0);
static_assert(offsetof(MemoryCounters, peakLiveAllocations) == 8);
static_assert(offsetof(MemoryCounters, allocatedBytes) == 16);
static_assert(offsetof(MemoryCounters, allocations) == 24);
static_assert(offsetof(MemoryCounters, freedBytes) == 32);
static_assert(offsetof(MemoryCounters, frees) == 40);
static_assert(offsetof(MemoryCounters, reserved) == 48);

static_assert(sizeof(PluginOperations) == 24);
static_assert(offsetof(PluginOperations, Attach) == 0);
static_assert(offsetof(PluginOperations, Shutdown) == 8);
static_assert(offsetof(PluginOperations, GetMemoryCounters) == 16);

static_assert(sizeof(PluginLoadBlock) == 48);
static_assert(offsetof(PluginLoadBlock, major) == 0);
static_assert(offsetof(PluginLoadBlock, minor) == 4);
static_assert(offsetof(PluginLoadBlock, patch) == 8);
static_assert(offsetof(PluginLoadBlock, operations) == 16);
static_assert(offsetof(PluginLoadBlock, module) == 24);
static_assert(offsetof(PluginLoadBlock, shortName) == 32);
static_assert(offsetof(PluginLoadBlock, apiDescription) == 40);

static_assert(sizeof(HostInterface) == 16);
static_assert(offsetof(HostInterface, operations) == 0);
static_assert(offsetof(HostInterface, clientId) == 8);

static_assert(sizeof(HostOperations) == 80);
static_assert(offsetof(HostOperations, SendRequest) == 0);
static_assert(offsetof(HostOperations, ReservedHostCall) == 8);
static_assert(offsetof(HostOperations, SendEvent) == 16);
static_assert(offsetof(HostOperations, SubscribeToEvent) == 24);
static_assert(offsetof(HostOperations, UnsubscribeFromEvent) == 32);
static_assert(offsetof(HostOperations, ScheduleCallback) == 40);
static_assert(offsetof(HostOperations, YieldToHost) == 48);
static_assert(offsetof(HostOperations, BeginWait) == 56);
static_assert(offsetof(HostOperations, EndWait) == 64);
static_assert(offsetof(HostOperations, WriteLog) == 72);

}  // namespace Tavix::Client
