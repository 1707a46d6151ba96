// The exception family of the program. Every failure that can be reported is one of these classes; a handler
// for a base class catches all classes below it.
//
// `function` is the thrower, written "Class::method()"; it may be empty. Strings are owned by value.
// Objects are not thread-safe; exceptions never cross threads.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "os/types.h"

namespace trel {

class Exception {
  public:
    virtual ~Exception();
    // Throws a copy of this object as its own most-derived type.
    [[noreturn]] virtual void fire() const = 0;
    // The class name, exactly ("StringException", "FileException", ...).
    virtual const char* get_typename() const = 0;
    // A heap object of the same type that takes over this object's strings; this object keeps numbers and
    // type.
    virtual std::unique_ptr<Exception> clone() = 0;
    // Writes the report to the console.
    virtual void print() const = 0;
    // Appends the fields to `out`: strings as u64 length + bytes, numbers little-endian at their width.
    virtual void serialize(std::vector<u8>& out) const = 0;

  protected:
    Exception() = default;
    Exception(const Exception&) = default;
    Exception(Exception&&) = default;
    Exception& operator=(const Exception&) = default;
};

// The three operations that every class answers with its own type.
#define TREL_EXCEPTION_TYPE(Class)               \
  public:                                        \
    [[noreturn]] void fire() const override;     \
    const char* get_typename() const override;   \
    std::unique_ptr<Exception> clone() override; \
    Class(const Class&) = default;               \
    Class(Class&&) = default

class StringException : public Exception {
    TREL_EXCEPTION_TYPE(StringException);

  public:
    StringException(std::string function, std::string message)
        : function(std::move(function)), message(std::move(message)) {}
    void print() const override;
    void serialize(std::vector<u8>& out) const override;

    std::string function;
    std::string message;

  protected:
    // The part of the report between its title and its end.
    virtual void print_body() const;
};

#define TREL_STRING_EXCEPTION(Class, Base) \
    class Class : public Base {            \
        TREL_EXCEPTION_TYPE(Class);        \
                                           \
      public:                              \
        using Base::Base;                  \
    }

TREL_STRING_EXCEPTION(InvalidParametersException, StringException);
TREL_STRING_EXCEPTION(InvalidTransformException, InvalidParametersException);
TREL_STRING_EXCEPTION(TransformTooSmallException, InvalidTransformException);
TREL_STRING_EXCEPTION(ParseException, StringException);
TREL_STRING_EXCEPTION(EndOfStreamException, ParseException);
TREL_STRING_EXCEPTION(KeyNotFoundException, ParseException);
TREL_STRING_EXCEPTION(ArithmeticException, StringException);
TREL_STRING_EXCEPTION(AlgorithmFailedException, StringException);
TREL_STRING_EXCEPTION(ResourceAcquisitionFailedException, StringException);
TREL_STRING_EXCEPTION(FarMemoryException, StringException);
TREL_STRING_EXCEPTION(UnsupportedValueException, StringException);
TREL_STRING_EXCEPTION(UnsupportedZeroException, UnsupportedValueException);
TREL_STRING_EXCEPTION(UnsupportedNegativeException, UnsupportedValueException);

class ConvolutionTooSmallException : public InvalidTransformException {
    TREL_EXCEPTION_TYPE(ConvolutionTooSmallException);

  public:
    // Sizes in bits.
    ConvolutionTooSmallException(std::string function, std::string message, u64 convolution_size,
                                 u64 requested_size)
        : InvalidTransformException(std::move(function), std::move(message)),
          convolution_size(convolution_size),
          requested_size(requested_size) {}
    void serialize(std::vector<u8>& out) const override;

    u64 convolution_size;
    u64 requested_size;

  protected:
    void print_body() const override;
};

class ExponentOverflowException : public ArithmeticException {
    TREL_EXCEPTION_TYPE(ExponentOverflowException);

  public:
    ExponentOverflowException(std::string function, std::string message, i64 value, i64 limit)
        : ArithmeticException(std::move(function), std::move(message)), value(value), limit(limit) {}
    void serialize(std::vector<u8>& out) const override;

    i64 value;
    i64 limit;

  protected:
    void print_body() const override;
};

class LimitExceededException : public StringException {
    TREL_EXCEPTION_TYPE(LimitExceededException);

  public:
    // limit 0 = unknown
    LimitExceededException(std::string function, std::string message, u64 limit, u64 attempted)
        : StringException(std::move(function), std::move(message)), limit(limit), attempted(attempted) {}
    void serialize(std::vector<u8>& out) const override;

    u64 limit;
    u64 attempted;

  protected:
    void print_body() const override;
};

class ConvolutionFailedException : public AlgorithmFailedException {
    TREL_EXCEPTION_TYPE(ConvolutionFailedException);

  public:
    ConvolutionFailedException(std::string function, std::string message, u64 first, u64 second)
        : AlgorithmFailedException(std::move(function), std::move(message)), first(first), second(second) {}
    void serialize(std::vector<u8>& out) const override;

    u64 first;
    u64 second;
};

class BSRModularCheckFailedException : public AlgorithmFailedException {
    TREL_EXCEPTION_TYPE(BSRModularCheckFailedException);

  public:
    // The range [a, b) and the differences modulo 2^61 - 1.
    BSRModularCheckFailedException(std::string function, std::string message, u64 a, u64 b,
                                   std::vector<u64> hashes)
        : AlgorithmFailedException(std::move(function), std::move(message)),
          a(a),
          b(b),
          hashes(std::move(hashes)) {}
    void serialize(std::vector<u8>& out) const override;

    u64 a;
    u64 b;
    std::vector<u64> hashes;

  protected:
    void print_body() const override;
};

class MemoryAllocationFailedException : public ResourceAcquisitionFailedException {
    TREL_EXCEPTION_TYPE(MemoryAllocationFailedException);

  public:
    // The message is made of the two.
    MemoryAllocationFailedException(std::string function, std::string allocation_type, u64 allocation_size);
    MemoryAllocationFailedException(std::string function, std::string message, std::string allocation_type,
                                    u64 allocation_size)
        : ResourceAcquisitionFailedException(std::move(function), std::move(message)),
          allocation_type(std::move(allocation_type)),
          allocation_size(allocation_size) {}
    void serialize(std::vector<u8>& out) const override;

    std::string allocation_type;
    u64 allocation_size;  // bytes

  protected:
    void print_body() const override;
};

// A standard-library exception's text in a form that can be transported.
class StdException : public Exception {
    TREL_EXCEPTION_TYPE(StdException);

  public:
    explicit StdException(std::string message) : message(std::move(message)) {}
    void print() const override;
    void serialize(std::vector<u8>& out) const override;

    std::string message;
};

class SystemException : public Exception {
    TREL_EXCEPTION_TYPE(SystemException);

  public:
    SystemException(std::string function, std::string message, u32 error_code)
        : function(std::move(function)), message(std::move(message)), error_code(error_code) {}
    void print() const override;
    void serialize(std::vector<u8>& out) const override;

    std::string function;
    std::string message;
    u32 error_code;
};

class BufferTooSmallException : public Exception {
    TREL_EXCEPTION_TYPE(BufferTooSmallException);

  public:
    // Sizes in the thrower's unit (words for numbers, bytes for memory views).
    BufferTooSmallException(std::string function, u64 buffer_size, u64 required_size)
        : function(std::move(function)), buffer_size(buffer_size), required_size(required_size) {}
    void print() const override;
    void serialize(std::vector<u8>& out) const override;

    std::string function;
    u64 buffer_size;
    u64 required_size;
};

class FarMemoryOutOfBoundsException : public Exception {
    TREL_EXCEPTION_TYPE(FarMemoryOutOfBoundsException);

  public:
    FarMemoryOutOfBoundsException(std::string function, u64 object_size, u64 access_offset, u64 access_length)
        : function(std::move(function)),
          object_size(object_size),
          access_offset(access_offset),
          access_length(access_length) {}
    void print() const override;
    void serialize(std::vector<u8>& out) const override;

    std::string function;
    u64 object_size;
    u64 access_offset;
    u64 access_length;
};

namespace FileIO {

class FileException : public Exception {
    TREL_EXCEPTION_TYPE(FileException);

  public:
    // error_code: the system's number, 0 when the failure is not the system's.
    FileException(std::string function, std::string message, std::string path, u32 error_code = 0)
        : function(std::move(function)),
          message(std::move(message)),
          path(std::move(path)),
          error_code(error_code) {}
    void print() const override;
    void serialize(std::vector<u8>& out) const override;

    std::string function;
    std::string message;
    std::string path;
    u32 error_code;
};

}  // namespace FileIO

namespace DigitViewer2 {

class InconsistentMetaData : public FileIO::FileException {
    TREL_EXCEPTION_TYPE(InconsistentMetaData);

  public:
    using FileException::FileException;
};

}  // namespace DigitViewer2

// The far-memory exceptions carry the fields of a FileException but are none: a handler for file errors must
// not take them.
#define TREL_RAID_EXCEPTION(Class)                                                             \
    class Class : public Exception {                                                           \
        TREL_EXCEPTION_TYPE(Class);                                                            \
                                                                                               \
      public:                                                                                  \
        Class(std::string function, std::string message, std::string path, u32 error_code = 0) \
            : function(std::move(function)),                                                   \
              message(std::move(message)),                                                     \
              path(std::move(path)),                                                           \
              error_code(error_code) {}                                                        \
        void print() const override;                                                           \
        void serialize(std::vector<u8>& out) const override;                                   \
                                                                                               \
        std::string function;                                                                  \
        std::string message;                                                                   \
        std::string path;                                                                      \
        u32 error_code;                                                                        \
    }

namespace DiskRaid0 {
TREL_RAID_EXCEPTION(Raid0Exception);
}
namespace R03 {
TREL_RAID_EXCEPTION(Raid03Exception);
}

}  // namespace trel
