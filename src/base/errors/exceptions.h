// The exception family of the program. Every failure that can be reported is one of these classes; a handler
// for a base class catches all classes below it.
//
// `function` is the thrower, written "Class::method()"; it may be empty. Strings are owned by value.
// Objects are not thread-safe; an exception crosses threads in fork_join_catching() alone.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "os/types.h"

namespace trel {

class ByteCursor;

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

// The operations that every class answers with its own type and fields. They are made by its row in
// exception_list.cpp, so that a new class is its definition here and one row there. The numbers of a class
// have an initialiser: the constructor that reads a record fills them one by one.
#define TREL_EXCEPTION_TYPE(Class)                                    \
  public:                                                             \
    [[noreturn]] void fire() const override;                          \
    const char* get_typename() const override;                        \
    std::unique_ptr<Exception> clone() override;                      \
    void serialize(std::vector<u8>& out) const override;              \
    /* Throws EndOfStreamException when the record ends too early. */ \
    explicit Class(ByteCursor& in);                                   \
    Class(const Class&) = default;                                    \
    Class(Class&&) = default;                                         \
                                                                      \
  protected:                                                          \
    Class() = default

class StringException : public Exception {
    TREL_EXCEPTION_TYPE(StringException);

  public:
    StringException(std::string function, std::string message)
        : function(std::move(function)), message(std::move(message)) {}
    void print() const override;

    std::string function;
    std::string message;

  protected:
    // The part of the report between its title and its end.
    virtual void print_body() const;
};

// A class that adds no fields.
#define TREL_DERIVED_EXCEPTION(Class, Base) \
    class Class : public Base {             \
        TREL_EXCEPTION_TYPE(Class);         \
                                            \
      public:                               \
        using Base::Base;                   \
    }

TREL_DERIVED_EXCEPTION(InvalidParametersException, StringException);
TREL_DERIVED_EXCEPTION(InvalidTransformException, InvalidParametersException);
TREL_DERIVED_EXCEPTION(TransformTooSmallException, InvalidTransformException);
TREL_DERIVED_EXCEPTION(ParseException, StringException);
TREL_DERIVED_EXCEPTION(EndOfStreamException, ParseException);
TREL_DERIVED_EXCEPTION(KeyNotFoundException, ParseException);
TREL_DERIVED_EXCEPTION(ArithmeticException, StringException);
TREL_DERIVED_EXCEPTION(AlgorithmFailedException, StringException);
TREL_DERIVED_EXCEPTION(ResourceAcquisitionFailedException, StringException);
TREL_DERIVED_EXCEPTION(FarMemoryException, StringException);
TREL_DERIVED_EXCEPTION(UnsupportedValueException, StringException);
TREL_DERIVED_EXCEPTION(UnsupportedZeroException, UnsupportedValueException);
TREL_DERIVED_EXCEPTION(UnsupportedNegativeException, UnsupportedValueException);

class ConvolutionTooSmallException : public InvalidTransformException {
    TREL_EXCEPTION_TYPE(ConvolutionTooSmallException);

  public:
    // Sizes in bits.
    ConvolutionTooSmallException(std::string function, std::string message, u64 convolution_size,
                                 u64 requested_size)
        : InvalidTransformException(std::move(function), std::move(message)),
          convolution_size(convolution_size),
          requested_size(requested_size) {}

    u64 convolution_size = 0;
    u64 requested_size = 0;

  protected:
    void print_body() const override;
};

class ExponentOverflowException : public ArithmeticException {
    TREL_EXCEPTION_TYPE(ExponentOverflowException);

  public:
    ExponentOverflowException(std::string function, std::string message, i64 value, i64 limit)
        : ArithmeticException(std::move(function), std::move(message)), value(value), limit(limit) {}

    i64 value = 0;
    i64 limit = 0;

  protected:
    void print_body() const override;
};

class LimitExceededException : public StringException {
    TREL_EXCEPTION_TYPE(LimitExceededException);

  public:
    // limit 0 = unknown
    LimitExceededException(std::string function, std::string message, u64 limit, u64 attempted)
        : StringException(std::move(function), std::move(message)), limit(limit), attempted(attempted) {}

    u64 limit = 0;
    u64 attempted = 0;

  protected:
    void print_body() const override;
};

class ConvolutionFailedException : public AlgorithmFailedException {
    TREL_EXCEPTION_TYPE(ConvolutionFailedException);

  public:
    ConvolutionFailedException(std::string function, std::string message, u64 first, u64 second)
        : AlgorithmFailedException(std::move(function), std::move(message)), first(first), second(second) {}

    u64 first = 0;
    u64 second = 0;
};

class BSRModularCheckFailedException : public AlgorithmFailedException {
    TREL_EXCEPTION_TYPE(BSRModularCheckFailedException);

  public:
    // The range [a, b) and the differences of residues modulo 2^64 - 2^32 + 1.
    BSRModularCheckFailedException(std::string function, std::string message, u64 a, u64 b,
                                   std::vector<u64> hashes)
        : AlgorithmFailedException(std::move(function), std::move(message)),
          a(a),
          b(b),
          hashes(std::move(hashes)) {}

    u64 a = 0;
    u64 b = 0;
    std::vector<u64> hashes;

  protected:
    void print_body() const override;
};

class MemoryAllocationFailedException : public ResourceAcquisitionFailedException {
    TREL_EXCEPTION_TYPE(MemoryAllocationFailedException);

  public:
    // The message is made of the two.
    MemoryAllocationFailedException(std::string function, const std::string& allocation_type,
                                    u64 allocation_size);
    MemoryAllocationFailedException(std::string function, std::string message, std::string allocation_type,
                                    u64 allocation_size)
        : ResourceAcquisitionFailedException(std::move(function), std::move(message)),
          allocation_type(std::move(allocation_type)),
          allocation_size(allocation_size) {}

    std::string allocation_type;
    u64 allocation_size = 0;  // bytes

  protected:
    void print_body() const override;
};

// A standard-library exception's text in a form that can be transported.
class StdException : public Exception {
    TREL_EXCEPTION_TYPE(StdException);

  public:
    explicit StdException(std::string message) : message(std::move(message)) {}
    void print() const override;

    std::string message;
};

class SystemException : public Exception {
    TREL_EXCEPTION_TYPE(SystemException);

  public:
    SystemException(std::string function, std::string message, u32 error_code)
        : function(std::move(function)), message(std::move(message)), error_code(error_code) {}
    void print() const override;

    std::string function;
    std::string message;
    u32 error_code = 0;
};

class BufferTooSmallException : public Exception {
    TREL_EXCEPTION_TYPE(BufferTooSmallException);

  public:
    // Sizes in the thrower's unit (words for numbers, bytes for memory views).
    BufferTooSmallException(std::string function, u64 buffer_size, u64 required_size)
        : function(std::move(function)), buffer_size(buffer_size), required_size(required_size) {}
    void print() const override;

    std::string function;
    u64 buffer_size = 0;
    u64 required_size = 0;
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

    std::string function;
    u64 object_size = 0;
    u64 access_offset = 0;
    u64 access_length = 0;
};

// The fields of failures that have a path. Not a class to catch: a handler for file errors must not take the
// far-memory exceptions, which carry the same fields.
class PathException : public Exception {
  public:
    // error_code: the system's number, 0 when the failure is not the system's.
    PathException(std::string function, std::string message, std::string path, u32 error_code = 0)
        : function(std::move(function)),
          message(std::move(message)),
          path(std::move(path)),
          error_code(error_code) {}

    std::string function;
    std::string message;
    std::string path;
    u32 error_code = 0;

  protected:
    PathException() = default;
};

namespace FileIO {

class FileException : public PathException {
    TREL_EXCEPTION_TYPE(FileException);

  public:
    using PathException::PathException;
    void print() const override;
};

}  // namespace FileIO

namespace DigitViewer2 {
using FileIO::FileException;
TREL_DERIVED_EXCEPTION(InconsistentMetaData, FileException);
}  // namespace DigitViewer2

// The report of the far-memory exceptions.
class RaidException : public PathException {
  public:
    using PathException::PathException;
    void print() const override;

  protected:
    RaidException() = default;
};

namespace DiskRaid0 {
TREL_DERIVED_EXCEPTION(Raid0Exception, RaidException);
}
namespace R03 {
TREL_DERIVED_EXCEPTION(Raid03Exception, RaidException);
}

}  // namespace trel
