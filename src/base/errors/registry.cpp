#include "base/errors/registry.h"

#include <map>

#include "base/console/console.h"
#include "base/errors/byte_record.h"

namespace trel {
namespace {

std::map<std::string, ExceptionFactory, std::less<>>& registry() {
    static std::map<std::string, ExceptionFactory, std::less<>> types;
    return types;
}

// The factories name every field in its own statement: the order of evaluation of arguments is not fixed.

template <class E>
std::unique_ptr<Exception> read_generic(const u8*& cursor) {
    ByteCursor in(cursor);
    std::string function = in.text();
    std::string message = in.text();
    return std::make_unique<E>(std::move(function), std::move(message));
}

template <class E, class Number>
std::unique_ptr<Exception> read_two_numbers(const u8*& cursor) {
    ByteCursor in(cursor);
    std::string function = in.text();
    std::string message = in.text();
    const Number first = static_cast<Number>(in.number64());
    const Number second = static_cast<Number>(in.number64());
    return std::make_unique<E>(std::move(function), std::move(message), first, second);
}

template <class E>
std::unique_ptr<Exception> read_file(const u8*& cursor) {
    ByteCursor in(cursor);
    std::string function = in.text();
    std::string message = in.text();
    std::string path = in.text();
    const u32 error_code = in.number32();
    return std::make_unique<E>(std::move(function), std::move(message), std::move(path), error_code);
}

std::unique_ptr<Exception> read_std(const u8*& cursor) {
    return std::make_unique<StdException>(ByteCursor(cursor).text());
}

std::unique_ptr<Exception> read_system(const u8*& cursor) {
    ByteCursor in(cursor);
    std::string function = in.text();
    std::string message = in.text();
    const u32 error_code = in.number32();
    return std::make_unique<SystemException>(std::move(function), std::move(message), error_code);
}

std::unique_ptr<Exception> read_buffer(const u8*& cursor) {
    ByteCursor in(cursor);
    const u64 buffer_size = in.number64();
    const u64 required_size = in.number64();
    return std::make_unique<BufferTooSmallException>("", buffer_size, required_size);
}

std::unique_ptr<Exception> read_bounds(const u8*& cursor) {
    ByteCursor in(cursor);
    std::string function = in.text();
    const u64 object_size = in.number64();
    const u64 access_offset = in.number64();
    const u64 access_length = in.number64();
    return std::make_unique<FarMemoryOutOfBoundsException>(std::move(function), object_size, access_offset,
                                                           access_length);
}

std::unique_ptr<Exception> read_allocation(const u8*& cursor) {
    ByteCursor in(cursor);
    std::string function = in.text();
    std::string message = in.text();
    std::string allocation_type = in.text();
    const u64 allocation_size = in.number64();
    return std::make_unique<MemoryAllocationFailedException>(std::move(function), std::move(message),
                                                             std::move(allocation_type), allocation_size);
}

std::unique_ptr<Exception> read_modular(const u8*& cursor) {
    ByteCursor in(cursor);
    std::string function = in.text();
    std::string message = in.text();
    const u64 a = in.number64();
    const u64 b = in.number64();
    std::vector<u64> hashes(in.number64());
    for (u64& hash : hashes) hash = in.number64();
    return std::make_unique<BSRModularCheckFailedException>(std::move(function), std::move(message), a, b,
                                                            std::move(hashes));
}

[[maybe_unused]] const bool registered = [] {
    register_exception_type("StdException", read_std);
    register_exception_type("StringException", read_generic<StringException>);
    register_exception_type("SystemException", read_system);
    register_exception_type("ParseException", read_generic<ParseException>);
    register_exception_type("EndOfStreamException", read_generic<EndOfStreamException>);
    register_exception_type("KeyNotFoundException", read_generic<KeyNotFoundException>);
    register_exception_type("BufferTooSmallException", read_buffer);
    register_exception_type("ArithmeticException", read_generic<ArithmeticException>);
    register_exception_type("ExponentOverflowException", read_two_numbers<ExponentOverflowException, i64>);
    register_exception_type("LimitExceededException", read_two_numbers<LimitExceededException, u64>);
    register_exception_type("FileException", read_file<FileIO::FileException>);
    register_exception_type("FarMemoryException", read_generic<FarMemoryException>);
    register_exception_type("FarMemoryOutOfBoundsException", read_bounds);
    register_exception_type("Raid0Exception", read_file<DiskRaid0::Raid0Exception>);
    register_exception_type("Raid03Exception", read_file<R03::Raid03Exception>);
    register_exception_type("TransformTooSmallException", read_generic<TransformTooSmallException>);
    register_exception_type("ConvolutionTooSmallException",
                            read_two_numbers<ConvolutionTooSmallException, u64>);
    register_exception_type("UnsupportedValueException", read_generic<UnsupportedValueException>);
    register_exception_type("UnsupportedZeroException", read_generic<UnsupportedZeroException>);
    register_exception_type("UnsupportedNegativeException", read_generic<UnsupportedNegativeException>);
    register_exception_type("InconsistentMetaData", read_file<DigitViewer2::InconsistentMetaData>);
    register_exception_type("BSRModularCheckFailedException", read_modular);
    register_exception_type("ConvolutionFailedException", read_two_numbers<ConvolutionFailedException, u64>);
    register_exception_type("InvalidTransformException", read_generic<InvalidTransformException>);
    register_exception_type("MemoryAllocationFailedException", read_allocation);
    register_exception_type("ResourceAcquisitionFailedException",
                            read_generic<ResourceAcquisitionFailedException>);
    register_exception_type("AlgorithmFailedException", read_generic<AlgorithmFailedException>);
    register_exception_type("InvalidParametersException", read_generic<InvalidParametersException>);
    return true;
}();

}  // namespace

void register_exception_type(const std::string& name, ExceptionFactory factory) {
    if (registry().emplace(name, factory).second) return;
    Console::error_line("Duplicate Exception Type");
    Console::fatal_exit(1);
}

std::unique_ptr<Exception> deserialize_exception(std::string_view name, const u8*& cursor) {
    const auto entry = registry().find(name);
    if (entry == registry().end()) {
        throw InvalidParametersException("deserialize_exception()",
                                         "Unknown exception type: " + std::string(name));
    }
    return entry->second(cursor);
}

std::vector<std::string> registered_exception_types() {
    std::vector<std::string> names;
    for (const auto& entry : registry()) names.push_back(entry.first);
    return names;
}

}  // namespace trel
