// The bytes of every class, field by field; what a clone leaves behind; which handler catches which class.
#include <gtest/gtest.h>

#include <type_traits>

#include "base/errors/exceptions.h"

using namespace trel;

namespace {

// A record put together by hand.
class Record {
  public:
    Record text(const std::string& value) {
        number(value.size(), 8);
        bytes.insert(bytes.end(), value.begin(), value.end());
        return *this;
    }
    Record number(u64 value, int width) {
        for (int i = 0; i < width; i++) bytes.push_back(static_cast<u8>(value >> (8 * i) & 0xff));
        return *this;
    }
    std::vector<u8> bytes;
};

std::vector<u8> bytes_of(const Exception& e) {
    std::vector<u8> bytes = {0xab};  // is kept
    e.serialize(bytes);
    EXPECT_EQ(bytes.at(0), 0xab);
    bytes.erase(bytes.begin());
    return bytes;
}

// Before a clone is taken, of the clone, and of what is left then: the numbers, and strings without text.
void check(Exception&& e, const Record& before, const Record& left) {
    SCOPED_TRACE(e.get_typename());
    EXPECT_EQ(bytes_of(e), before.bytes);
    const std::string name = e.get_typename();
    const std::unique_ptr<Exception> clone = e.clone();
    EXPECT_EQ(bytes_of(*clone), before.bytes);
    EXPECT_EQ(clone->get_typename(), name);
    EXPECT_EQ(bytes_of(e), left.bytes);
    EXPECT_EQ(e.get_typename(), name);
}

constexpr u64 kFirst = 0x0102030405060708, kSecond = 0xf1f2f3f4f5f6f7f8;
constexpr u32 kCode = 0xc1c2c3c4;
const std::string f = "A::b()", m = "A message that is too long to stand in the string object itself.";
const std::string p = "C:/a folder/and a file in it.txt", t = "a kind of memory, with a long name as well";

}  // namespace

TEST(SerializedFormTest, OfTheClassesWithAFunctionAndAMessage) {
    const Record before = Record().text(f).text(m), left = Record().text("").text("");
    check(StringException(f, m), before, left);
    check(InvalidParametersException(f, m), before, left);
    check(InvalidTransformException(f, m), before, left);
    check(TransformTooSmallException(f, m), before, left);
    check(ParseException(f, m), before, left);
    check(EndOfStreamException(f, m), before, left);
    check(KeyNotFoundException(f, m), before, left);
    check(ArithmeticException(f, m), before, left);
    check(AlgorithmFailedException(f, m), before, left);
    check(ResourceAcquisitionFailedException(f, m), before, left);
    check(FarMemoryException(f, m), before, left);
    check(UnsupportedValueException(f, m), before, left);
    check(UnsupportedZeroException(f, m), before, left);
    check(UnsupportedNegativeException(f, m), before, left);
}

TEST(SerializedFormTest, OfTheClassesWithTwoNumbers) {
    const Record before = Record().text(f).text(m).number(kFirst, 8).number(kSecond, 8);
    const Record left = Record().text("").text("").number(kFirst, 8).number(kSecond, 8);
    check(LimitExceededException(f, m, kFirst, kSecond), before, left);
    check(ExponentOverflowException(f, m, static_cast<i64>(kFirst), static_cast<i64>(kSecond)), before, left);
    check(ConvolutionTooSmallException(f, m, kFirst, kSecond), before, left);
    check(ConvolutionFailedException(f, m, kFirst, kSecond), before, left);
}

TEST(SerializedFormTest, OfTheOthers) {
    check(StdException(m), Record().text(m), Record().text(""));
    check(SystemException(f, m, kCode), Record().text(f).text(m).number(kCode, 4),
          Record().text("").text("").number(kCode, 4));
    // Without its function.
    check(BufferTooSmallException(f, kFirst, kSecond), Record().number(kFirst, 8).number(kSecond, 8),
          Record().number(kFirst, 8).number(kSecond, 8));
    check(FarMemoryOutOfBoundsException(f, kFirst, kSecond, 3),
          Record().text(f).number(kFirst, 8).number(kSecond, 8).number(3, 8),
          Record().text("").number(kFirst, 8).number(kSecond, 8).number(3, 8));
    const Record file = Record().text(f).text(m).text(p).number(kCode, 4);
    const Record file_left = Record().text("").text("").text("").number(kCode, 4);
    check(FileIO::FileException(f, m, p, kCode), file, file_left);
    check(DigitViewer2::InconsistentMetaData(f, m, p, kCode), file, file_left);
    check(DiskRaid0::Raid0Exception(f, m, p, kCode), file, file_left);
    check(R03::Raid03Exception(f, m, p, kCode), file, file_left);
    check(MemoryAllocationFailedException(f, m, t, kFirst),
          Record().text(f).text(m).text(t).number(kFirst, 8),
          Record().text("").text("").text("").number(kFirst, 8));
    const Record residues =
        Record().number(kFirst, 8).number(kSecond, 8).number(3, 8).number(5, 8).number(6, 8).number(7, 8);
    Record before = Record().text(f).text(m), left = Record().text("").text("");
    for (Record* record : {&before, &left}) {
        record->bytes.insert(record->bytes.end(), residues.bytes.begin(), residues.bytes.end());
    }
    check(BSRModularCheckFailedException(f, m, kFirst, kSecond, {5, 6, 7}), before, left);
    check(BSRModularCheckFailedException("", "", 1, 2, {}),
          Record().text("").text("").number(1, 8).number(2, 8).number(0, 8),
          Record().text("").text("").number(1, 8).number(2, 8).number(0, 8));
}

TEST(SerializedFormTest, AFunctionThatIsNotWrittenGoesToTheClone) {
    BufferTooSmallException e(f, 1, 2);
    const std::unique_ptr<Exception> clone = e.clone();
    EXPECT_EQ(dynamic_cast<BufferTooSmallException&>(*clone).function, f);
    EXPECT_EQ(e.function, "");
}

// ---- the tree of the classes: a handler for a base takes what stands below it and nothing else

namespace {

template <class Derived, class Base>
constexpr bool is = std::is_base_of_v<Base, Derived>;
template <class E>
constexpr bool is_plain =
    is<E, StringException> && !is<E, InvalidParametersException> && !is<E, ParseException> &&
    !is<E, ArithmeticException> && !is<E, AlgorithmFailedException> &&
    !is<E, ResourceAcquisitionFailedException> && !is<E, UnsupportedValueException>;
template <class E>
constexpr bool is_apart = is<E, Exception> && !is<E, StringException> && !is<E, FileIO::FileException>;

static_assert(std::is_abstract_v<Exception>);
static_assert(std::has_virtual_destructor_v<Exception>);
static_assert(is<InvalidParametersException, StringException>);
static_assert(is<InvalidTransformException, InvalidParametersException>);
static_assert(is<TransformTooSmallException, InvalidTransformException>);
static_assert(is<ConvolutionTooSmallException, InvalidTransformException>);
static_assert(!is<ConvolutionTooSmallException, TransformTooSmallException>);
static_assert(is<ParseException, StringException>);
static_assert(is<EndOfStreamException, ParseException>);
static_assert(is<KeyNotFoundException, ParseException>);
static_assert(is<ArithmeticException, StringException>);
static_assert(is<ExponentOverflowException, ArithmeticException>);
static_assert(is<AlgorithmFailedException, StringException>);
static_assert(is<ConvolutionFailedException, AlgorithmFailedException>);
static_assert(is<BSRModularCheckFailedException, AlgorithmFailedException>);
static_assert(is<ResourceAcquisitionFailedException, StringException>);
static_assert(is<MemoryAllocationFailedException, ResourceAcquisitionFailedException>);
static_assert(is<UnsupportedValueException, StringException>);
static_assert(is<UnsupportedZeroException, UnsupportedValueException>);
static_assert(is<UnsupportedNegativeException, UnsupportedValueException>);
static_assert(is_plain<LimitExceededException>);
static_assert(is_plain<FarMemoryException>);
static_assert(is_apart<StdException>);
static_assert(is_apart<SystemException>);
static_assert(is_apart<BufferTooSmallException>);
static_assert(is_apart<FarMemoryOutOfBoundsException>);
static_assert(is_apart<DiskRaid0::Raid0Exception>);
static_assert(is_apart<R03::Raid03Exception>);
static_assert(!is<DiskRaid0::Raid0Exception, FarMemoryException>);
static_assert(!is<FileIO::FileException, StringException>);
static_assert(is<DigitViewer2::InconsistentMetaData, FileIO::FileException>);

}  // namespace
