#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace Tavix::Client {

namespace internal {

// Reports the access to an alternative that a MaybeType does not hold; never returns.
[[noreturn]] void FatalWrongAlternative();

}  // namespace internal

// The result of an operation that can fail in an expected way: either a value of T or a failure
// of type E (in this system always `Failure`). A one-byte tag tells which is live; only that one
// is ever constructed and destroyed. Asking for the other alternative is a programming fault and
// ends in a fatal report.
template <typename E, typename T>
class MaybeType {
    static_assert(!std::is_same_v<std::remove_cv_t<T>, E>, "a value and a failure must differ");
    static_assert(!std::is_reference_v<T>, "MaybeType holds values, not references");

public:
    MaybeType() requires std::is_default_constructible_v<T> : tag_(kValueTag) {
        std::construct_at(&value_);
    }
    MaybeType(const T& value) : tag_(kValueTag) { std::construct_at(&value_, value); }
    MaybeType(T&& value) : tag_(kValueTag) { std::construct_at(&value_, std::move(value)); }
    MaybeType(const E& failure) : tag_(kFailureTag) { std::construct_at(&failure_, failure); }
    MaybeType(E&& failure) : tag_(kFailureTag) { std::construct_at(&failure_, std::move(failure)); }

    template <typename... Arguments>
    explicit MaybeType(std::in_place_t, Arguments&&... arguments) : tag_(kValueTag) {
        std::construct_at(&value_, std::forward<Arguments>(arguments)...);
    }

    MaybeType(const MaybeType& other) requires std::is_copy_constructible_v<T> &&
        std::is_copy_constructible_v<E> : tag_(other.tag_) {
        if (other.IsFailure()) {
            std::construct_at(&failure_, other.failure_);
        } else {
            std::construct_at(&value_, other.value_);
        }
    }

    MaybeType(MaybeType&& other) noexcept(
        std::is_nothrow_move_constructible_v<T>&& std::is_nothrow_move_constructible_v<E>)
        : tag_(other.tag_) {
        if (other.IsFailure()) {
            std::construct_at(&failure_, std::move(other.failure_));
        } else {
            std::construct_at(&value_, std::move(other.value_));
        }
    }

    MaybeType& operator=(const MaybeType& other) requires std::is_copy_constructible_v<T> &&
        std::is_copy_constructible_v<E> {
        if (this != &other) {
            Destroy();
            tag_ = other.tag_;
            if (other.IsFailure()) {
                std::construct_at(&failure_, other.failure_);
            } else {
                std::construct_at(&value_, other.value_);
            }
        }
        return *this;
    }

    MaybeType& operator=(MaybeType&& other) noexcept(
        std::is_nothrow_move_constructible_v<T>&& std::is_nothrow_move_constructible_v<E>) {
        if (this != &other) {
            Destroy();
            tag_ = other.tag_;
            if (other.IsFailure()) {
                std::construct_at(&failure_, std::move(other.failure_));
            } else {
                std::construct_at(&value_, std::move(other.value_));
            }
        }
        return *this;
    }

    ~MaybeType() { Destroy(); }

    bool IsFailure() const { return tag_ == kFailureTag; }
    bool HasValue() const { return tag_ == kValueTag; }
    explicit operator bool() const { return HasValue(); }

    E& GetFailure() & { return CheckedFailure(); }
    const E& GetFailure() const& { return const_cast<MaybeType*>(this)->CheckedFailure(); }
    E&& GetFailure() && { return std::move(CheckedFailure()); }

    T& GetValue() & { return CheckedValue(); }
    const T& GetValue() const& { return const_cast<MaybeType*>(this)->CheckedValue(); }
    T&& GetValue() && { return std::move(CheckedValue()); }

private:
    static constexpr std::uint8_t kValueTag = 0;
    static constexpr std::uint8_t kFailureTag = 1;

    E& CheckedFailure() {
        if (!IsFailure()) {
            internal::FatalWrongAlternative();
        }
        return failure_;
    }

    T& CheckedValue() {
        if (!HasValue()) {
            internal::FatalWrongAlternative();
        }
        return value_;
    }

    void Destroy() {
        if (IsFailure()) {
            std::destroy_at(&failure_);
        } else {
            std::destroy_at(&value_);
        }
    }

    union {
        E failure_;
        T value_;
    };
    std::uint8_t tag_;
};

// The result of an operation that only succeeds or fails: a success carries nothing but the tag.
template <typename E>
class MaybeType<E, void> {
public:
    MaybeType() : tag_(kValueTag) {}
    MaybeType(const E& failure) : tag_(kFailureTag) { std::construct_at(&failure_, failure); }
    MaybeType(E&& failure) : tag_(kFailureTag) { std::construct_at(&failure_, std::move(failure)); }

    MaybeType(const MaybeType& other) requires std::is_copy_constructible_v<E> : tag_(other.tag_) {
        if (other.IsFailure()) {
            std::construct_at(&failure_, other.failure_);
        }
    }

    MaybeType(MaybeType&& other) noexcept(std::is_nothrow_move_constructible_v<E>)
        : tag_(other.tag_) {
        if (other.IsFailure()) {
            std::construct_at(&failure_, std::move(other.failure_));
        }
    }

    MaybeType& operator=(const MaybeType& other) requires std::is_copy_constructible_v<E> {
        if (this != &other) {
            Destroy();
            tag_ = other.tag_;
            if (other.IsFailure()) {
                std::construct_at(&failure_, other.failure_);
            }
        }
        return *this;
    }

    MaybeType& operator=(MaybeType&& other) noexcept(std::is_nothrow_move_constructible_v<E>) {
        if (this != &other) {
            Destroy();
            tag_ = other.tag_;
            if (other.IsFailure()) {
                std::construct_at(&failure_, std::move(other.failure_));
            }
        }
        return *this;
    }

    ~MaybeType() { Destroy(); }

    bool IsFailure() const { return tag_ == kFailureTag; }
    bool HasValue() const { return tag_ == kValueTag; }
    explicit operator bool() const { return HasValue(); }

    E& GetFailure() & { return CheckedFailure(); }
    const E& GetFailure() const& { return const_cast<MaybeType*>(this)->CheckedFailure(); }
    E&& GetFailure() && { return std::move(CheckedFailure()); }

private:
    static constexpr std::uint8_t kValueTag = 0;
    static constexpr std::uint8_t kFailureTag = 1;

    E& CheckedFailure() {
        if (!IsFailure()) {
            internal::FatalWrongAlternative();
        }
        return failure_;
    }

    void Destroy() {
        if (IsFailure()) {
            std::destroy_at(&failure_);
        }
    }

    union {
        E failure_;
    };
    std::uint8_t tag_;
};

}  // namespace Tavix::Client
