// The list of the exception classes: each row is a class and its fields in the order in which they travel,
// and makes its name, fire(), clone(), serialize(), the constructor that reads what serialize() wrote, and
// its entry in the registry.
#include "base/errors/byte_record.h"
#include "base/errors/exceptions.h"
#include "base/errors/registry.h"

namespace trel {
namespace {

template <class E>
std::unique_ptr<Exception> read_exception(ByteCursor& in) {
    return std::make_unique<E>(in);
}

struct ExceptionRegistration {
    ExceptionRegistration(const char* name, ExceptionFactory factory) {
        register_exception_type(name, factory);
    }
};

}  // namespace

#define TREL_EXCEPTION_WITHOUT_CLONE(Class, ...)                          \
    void Class::fire() const {                                            \
        throw Class(*this);                                               \
    }                                                                     \
    const char* Class::get_typename() const {                             \
        return #Class;                                                    \
    }                                                                     \
    void Class::serialize(std::vector<u8>& out) const {                   \
        ByteRecord(out).put(__VA_ARGS__);                                 \
    }                                                                     \
    Class::Class(ByteCursor& in) {                                        \
        in.take(__VA_ARGS__);                                             \
    }                                                                     \
    namespace {                                                           \
    const ExceptionRegistration g_##Class(#Class, read_exception<Class>); \
    }

#define TREL_EXCEPTION(Class, ...)                        \
    TREL_EXCEPTION_WITHOUT_CLONE(Class, __VA_ARGS__)      \
    std::unique_ptr<Exception> Class::clone() {           \
        return std::make_unique<Class>(std::move(*this)); \
    }

TREL_EXCEPTION(StringException, function, message)
TREL_EXCEPTION(InvalidParametersException, function, message)
TREL_EXCEPTION(InvalidTransformException, function, message)
TREL_EXCEPTION(TransformTooSmallException, function, message)
TREL_EXCEPTION(ConvolutionTooSmallException, function, message, convolution_size, requested_size)
TREL_EXCEPTION(ParseException, function, message)
TREL_EXCEPTION(EndOfStreamException, function, message)
TREL_EXCEPTION(KeyNotFoundException, function, message)
TREL_EXCEPTION(ArithmeticException, function, message)
TREL_EXCEPTION(ExponentOverflowException, function, message, value, limit)
TREL_EXCEPTION(LimitExceededException, function, message, limit, attempted)
TREL_EXCEPTION(AlgorithmFailedException, function, message)
TREL_EXCEPTION(ConvolutionFailedException, function, message, first, second)
TREL_EXCEPTION_WITHOUT_CLONE(BSRModularCheckFailedException, function, message, a, b, hashes)
TREL_EXCEPTION(ResourceAcquisitionFailedException, function, message)
TREL_EXCEPTION(MemoryAllocationFailedException, function, message, allocation_type, allocation_size)
TREL_EXCEPTION(FarMemoryException, function, message)
TREL_EXCEPTION(UnsupportedValueException, function, message)
TREL_EXCEPTION(UnsupportedZeroException, function, message)
TREL_EXCEPTION(UnsupportedNegativeException, function, message)
TREL_EXCEPTION(StdException, message)
TREL_EXCEPTION(SystemException, function, message, error_code)
// The function is left out on purpose: the reader of such a record knows where it asked.
TREL_EXCEPTION(BufferTooSmallException, buffer_size, required_size)
TREL_EXCEPTION(FarMemoryOutOfBoundsException, function, object_size, access_offset, access_length)

namespace FileIO {
TREL_EXCEPTION(FileException, function, message, path, error_code)
}
namespace DigitViewer2 {
TREL_EXCEPTION(InconsistentMetaData, function, message, path, error_code)
}
namespace DiskRaid0 {
TREL_EXCEPTION(Raid0Exception, function, message, path, error_code)
}
namespace R03 {
TREL_EXCEPTION(Raid03Exception, function, message, path, error_code)
}

// A clone takes the strings only; the residues are numbers and stay here too.
std::unique_ptr<Exception> BSRModularCheckFailedException::clone() {
    std::vector<u64> kept = hashes;
    auto copy = std::make_unique<BSRModularCheckFailedException>(std::move(*this));
    hashes = std::move(kept);
    return copy;
}

}  // namespace trel
