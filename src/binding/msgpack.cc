#include "binding/msgpack.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include "binding/context.h"
#include "binding/internal/recent_names.h"
#include "support/format.h"

namespace Tavix::Client {

namespace {

constexpr char kInvalidData[] = "Invalid MessagePack data at position %1.";
constexpr char kKeyNotString[] =
    "Invalid MessagePack data at position %1. Map keys must be strings.";
constexpr char kBytesTruncated[] =
    "Invalid MessagePack data. Raw bytes of size %1 at position %2 are truncated.";
constexpr char kStringTruncated[] =
    "Invalid MessagePack data. String of size %1 at position %2 is truncated.";

// What the first byte of an object announces.
enum class Shape : std::uint8_t {
    PositiveFixInt,
    FixMap,
    FixArray,
    FixStr,
    Nil,
    Refused,  // 0xC1, which the format never uses, and every ext form
    False,
    True,
    Bin8,
    Bin16,
    Bin32,
    Float32,
    Float64,
    UInt8,
    UInt16,
    UInt32,
    UInt64,
    Int8,
    Int16,
    Int32,
    Int64,
    Str8,
    Str16,
    Str32,
    Array16,
    Array32,
    Map16,
    Map32,
    NegativeFixInt,
};

constexpr std::array<Shape, 256> MakeShapes() {
    std::array<Shape, 256> shapes{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        Shape shape = Shape::Refused;
        if (byte <= 0x7F) {
            shape = Shape::PositiveFixInt;
        } else if (byte <= 0x8F) {
            shape = Shape::FixMap;
        } else if (byte <= 0x9F) {
            shape = Shape::FixArray;
        } else if (byte <= 0xBF) {
            shape = Shape::FixStr;
        } else if (byte >= 0xE0) {
            shape = Shape::NegativeFixInt;
        }
        shapes[byte] = shape;
    }
    shapes[0xC0] = Shape::Nil;
    shapes[0xC2] = Shape::False;
    shapes[0xC3] = Shape::True;
    shapes[0xC4] = Shape::Bin8;
    shapes[0xC5] = Shape::Bin16;
    shapes[0xC6] = Shape::Bin32;
    shapes[0xCA] = Shape::Float32;
    shapes[0xCB] = Shape::Float64;
    shapes[0xCC] = Shape::UInt8;
    shapes[0xCD] = Shape::UInt16;
    shapes[0xCE] = Shape::UInt32;
    shapes[0xCF] = Shape::UInt64;
    shapes[0xD0] = Shape::Int8;
    shapes[0xD1] = Shape::Int16;
    shapes[0xD2] = Shape::Int32;
    shapes[0xD3] = Shape::Int64;
    shapes[0xD9] = Shape::Str8;
    shapes[0xDA] = Shape::Str16;
    shapes[0xDB] = Shape::Str32;
    shapes[0xDC] = Shape::Array16;
    shapes[0xDD] = Shape::Array32;
    shapes[0xDE] = Shape::Map16;
    shapes[0xDF] = Shape::Map32;
    return shapes;
}

constexpr std::array<Shape, 256> kShapes = MakeShapes();

class MessagePackReader {
public:
    MessagePackReader(BindingResult& result, const std::uint8_t* data, std::uint32_t length)
        : result_(result), data_(data), length_(length) {}

    void Run() {
        stack_.reserve(16);
        stack_.push_back(Frame{&result_, 0, FrameState::Fresh});
        while (result_.Ok()) {
            if (position_ >= length_) {
                return;
            }
            bool keyDue = false;
            BindingValue* target = NextTarget(keyDue);
            if (target == nullptr) {
                return;  // the root object is complete; what follows is not read
            }
            const std::uint8_t byte = data_[position_++];
            if (keyDue) {
                ReadKey(byte);
            } else {
                ReadValue(byte, *target);
            }
        }
    }

    std::uint32_t Position() const { return position_; }

private:
    enum class FrameState : std::uint8_t { Fresh, Array, Map };

    // A value still to be read (Fresh), or an open container with what it still expects. A map
    // counts its keys and values alike, so an even number left means that a key is due.
    struct Frame {
        BindingValue* value;
        std::uint64_t remaining;
        FrameState state;
    };

    // Pops the containers that are complete and returns the value that the next object fills,
    // or null when the stack has emptied.
    BindingValue* NextTarget(bool& keyDue) {
        while (!stack_.empty()) {
            Frame& top = stack_.back();
            if (top.state == FrameState::Fresh) {
                return top.value;
            }
            if (top.remaining == 0) {
                stack_.pop_back();
                continue;
            }
            --top.remaining;
            if (top.state == FrameState::Array) {
                BindingValue& element = top.value->Append();
                stack_.push_back(Frame{&element, 0, FrameState::Fresh});
                return &element;
            }
            if (top.remaining % 2 == 1) {
                keyDue = true;
                return top.value;
            }
            BindingValue& field = names_.Field(*top.value, key_);
            // A key given twice keeps its last value only.
            names_.Clear(field);
            stack_.push_back(Frame{&field, 0, FrameState::Fresh});
            return &field;
        }
        return nullptr;
    }

    void ReadKey(std::uint8_t byte) {
        std::uint64_t size = 0;
        switch (kShapes[byte]) {
            case Shape::FixStr:
                size = byte & 0x1F;
                break;
            case Shape::Str8:
                if (!ReadNumber<1>(size)) {
                    return;
                }
                break;
            case Shape::Str16:
                if (!ReadNumber<2>(size)) {
                    return;
                }
                break;
            case Shape::Str32:
                if (!ReadNumber<4>(size)) {
                    return;
                }
                break;
            default:
                result_.SetError(Format(kKeyNotString, position_));
                return;
        }
        const char* text = nullptr;
        if (ReadText(size, kStringTruncated, text)) {
            key_ = std::string_view(text, size);
        }
    }

    void ReadValue(std::uint8_t byte, BindingValue& target) {
        switch (kShapes[byte]) {
            case Shape::PositiveFixInt:
                target.SetSigned(byte);
                break;
            case Shape::NegativeFixInt:
                target.SetSigned(static_cast<std::int8_t>(byte));
                break;
            case Shape::FixMap:
                OpenMap(target, byte & 0x0F);
                return;
            case Shape::FixArray:
                OpenArray(target, byte & 0x0F);
                return;
            case Shape::FixStr:
                ReadString(target, byte & 0x1F);
                return;
            case Shape::Nil:
                break;  // every target starts empty
            case Shape::Refused:
                result_.SetError(Format(kInvalidData, position_));
                return;
            case Shape::False:
                target.SetBool(false);
                break;
            case Shape::True:
                target.SetBool(true);
                break;
            case Shape::Bin8:
                ReadSized<1>(target, &MessagePackReader::ReadBlob);
                return;
            case Shape::Bin16:
                ReadSized<2>(target, &MessagePackReader::ReadBlob);
                return;
            case Shape::Bin32:
                ReadSized<4>(target, &MessagePackReader::ReadBlob);
                return;
            case Shape::Float32:
                ReadScalar<4>(target, SetFloat32);
                return;
            case Shape::Float64:
                ReadScalar<8>(target, SetFloat64);
                return;
            case Shape::UInt8:
                ReadScalar<1>(target, SetUnsigned);
                return;
            case Shape::UInt16:
                ReadScalar<2>(target, SetUnsigned);
                return;
            case Shape::UInt32:
                ReadScalar<4>(target, SetUnsigned);
                return;
            case Shape::UInt64:
                ReadScalar<8>(target, SetUnsigned);
                return;
            case Shape::Int8:
                ReadScalar<1>(target, SetSigned<std::int8_t>);
                return;
            case Shape::Int16:
                ReadScalar<2>(target, SetSigned<std::int16_t>);
                return;
            case Shape::Int32:
                ReadScalar<4>(target, SetSigned<std::int32_t>);
                return;
            case Shape::Int64:
                ReadScalar<8>(target, SetSigned<std::int64_t>);
                return;
            case Shape::Str8:
                ReadSized<1>(target, &MessagePackReader::ReadString);
                return;
            case Shape::Str16:
                ReadSized<2>(target, &MessagePackReader::ReadString);
                return;
            case Shape::Str32:
                ReadSized<4>(target, &MessagePackReader::ReadString);
                return;
            case Shape::Array16:
                ReadSized<2>(target, &MessagePackReader::OpenArray);
                return;
            case Shape::Array32:
                ReadSized<4>(target, &MessagePackReader::OpenArray);
                return;
            case Shape::Map16:
                ReadSized<2>(target, &MessagePackReader::OpenMap);
                return;
            case Shape::Map32:
                ReadSized<4>(target, &MessagePackReader::OpenMap);
                return;
        }
        stack_.pop_back();
    }

    // A big-endian number of `Width` bytes. On truncation the position stays where the number
    // would begin, which is what the message reports.
    template <std::size_t Width>
    bool ReadNumber(std::uint64_t& number) {
        static constexpr const char* kTruncated[] = {
            "Invalid MessagePack data. 8-bit integer value at position %1 is truncated.",
            "Invalid MessagePack data. 16-bit integer value at position %1 is truncated.",
            "Invalid MessagePack data. 32-bit integer value at position %1 is truncated.",
            "Invalid MessagePack data. 64-bit integer value at position %1 is truncated.",
        };
        static_assert(Width == 1 || Width == 2 || Width == 4 || Width == 8);
        if (length_ - position_ < Width) {
            constexpr std::size_t kMessage = Width == 1 ? 0 : Width == 2 ? 1 : Width == 4 ? 2 : 3;
            result_.SetError(Format(kTruncated[kMessage], position_));
            return false;
        }
        std::uint64_t read = 0;
        for (std::size_t i = 0; i < Width; ++i) {
            read = (read << 8) | data_[position_ + i];
        }
        position_ += static_cast<std::uint32_t>(Width);
        number = read;
        return true;
    }

    // How the bits of a fixed-width scalar become a value.
    using SetScalar = void (*)(BindingValue&, std::uint64_t);
    static void SetUnsigned(BindingValue& target, std::uint64_t bits) { target.SetUnsigned(bits); }
    template <typename Signed>
    static void SetSigned(BindingValue& target, std::uint64_t bits) {
        target.SetSigned(static_cast<Signed>(bits));  // sign-extended from its width
    }
    static void SetFloat32(BindingValue& target, std::uint64_t bits) {
        const auto narrow = static_cast<std::uint32_t>(bits);
        float value = 0.0f;
        std::memcpy(&value, &narrow, sizeof(value));
        target.SetFloat(value);
    }
    static void SetFloat64(BindingValue& target, std::uint64_t bits) {
        double value = 0.0;
        std::memcpy(&value, &bits, sizeof(value));
        target.SetFloat(value);
    }

    template <std::size_t Width>
    void ReadScalar(BindingValue& target, SetScalar set) {
        std::uint64_t bits = 0;
        if (ReadNumber<Width>(bits)) {
            set(target, bits);
            stack_.pop_back();
        }
    }

    // Reads a size or a count of `Width` bytes and hands it on.
    template <std::size_t Width>
    void ReadSized(BindingValue& target,
                   void (MessagePackReader::*then)(BindingValue&, std::uint64_t)) {
        std::uint64_t size = 0;
        if (ReadNumber<Width>(size)) {
            (this->*then)(target, size);
        }
    }

    // Bytes that the input still holds are checked before anything is taken, so a header that
    // declares up to 4 GB costs nothing beyond the input it came in.
    bool ReadText(std::uint64_t size, const char* truncated, const char*& text) {
        if (size > length_ - position_) {
            result_.SetError(Format(truncated, size, position_));
            return false;
        }
        text = reinterpret_cast<const char*>(data_ + position_);
        position_ += static_cast<std::uint32_t>(size);
        return true;
    }

    void ReadString(BindingValue& target, std::uint64_t size) {
        const char* text = nullptr;
        if (!ReadText(size, kStringTruncated, text)) {
            return;
        }
        target.SetString(std::string_view(text, size));
        stack_.pop_back();
    }

    void ReadBlob(BindingValue& target, std::uint64_t size) {
        const char* bytes = nullptr;
        if (!ReadText(size, kBytesTruncated, bytes)) {
            return;
        }
        const auto* first = reinterpret_cast<const std::uint8_t*>(bytes);
        target.SetBlob(std::vector<std::uint8_t>(first, first + size));
        stack_.pop_back();
    }

    // Rehashing the string table as it fills costs more than sizing it once, when the root
    // container opens: an input has roughly one distinct string per 64 bytes, and beyond the cap
    // the table grows as it goes.
    void ReserveStrings(BindingValue& container) {
        static constexpr std::uint32_t kBytesPerString = 64;
        static constexpr std::uint32_t kMaxReserved = 1024;
        if (stack_.size() == 1 && container.Context()->StringCount() == 0) {
            container.Context()->ReserveStrings(std::min(length_ / kBytesPerString, kMaxReserved));
        }
    }

    // Every element takes at least one byte, so room is made for no more elements than the rest
    // of the input could hold: a count of 2^32-1 in a five-byte input reserves nothing.
    void OpenArray(BindingValue& target, std::uint64_t count) {
        target.MakeCollection();
        ReserveStrings(target);
        const std::uint64_t room =
            std::min<std::uint64_t>({count, length_ - position_, kBindingMaxElements});
        target.Reserve(static_cast<std::size_t>(room));
        Frame& frame = stack_.back();
        frame.remaining = count;
        frame.state = FrameState::Array;
    }

    void OpenMap(BindingValue& target, std::uint64_t pairs) {
        target.MakeStructure();
        ReserveStrings(target);
        Frame& frame = stack_.back();
        frame.remaining = pairs * 2;
        frame.state = FrameState::Map;
    }

    BindingResult& result_;
    const std::uint8_t* data_;
    std::uint32_t length_;
    std::uint32_t position_ = 0;
    std::vector<Frame> stack_;
    // The key last read; it borrows the input, and its field is made before the next read.
    std::string_view key_;
    Internal::RecentNames names_;
};

}  // namespace

void ReadMessagePack(BindingResult& result, std::uint32_t& consumed, const void* data,
                     std::uint32_t length) {
    result.ResetToOk();
    if (data == nullptr) {
        length = 0;
    }
    MessagePackReader reader(result, static_cast<const std::uint8_t*>(data), length);
    reader.Run();
    consumed = reader.Position();
}

}  // namespace Tavix::Client
