#include "core/Exception.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "TestSupport.h"
#include "core/Resources.h"

namespace {

using core::Exception;
using core::IExceptionObject;
using core::InterfacePtr;

std::int32_t live_count() { return core::current_ecxeptions_count()->value(); }

TEST(ExceptionsCount, MainThreadHasOneAndEveryLiveExceptionAddsOne) {
  ASSERT_NE(core::current_ecxeptions_count(), nullptr);
  const std::int32_t base = live_count();
  {
    Exception e(u"first");
    EXPECT_EQ(live_count(), base + 1);
    Exception copy(e);
    EXPECT_EQ(live_count(), base + 2);
    Exception assigned(u"other");
    assigned = e;  // still two distinct live objects
    EXPECT_EQ(live_count(), base + 3);
    InterfacePtr<IExceptionObject> wrapped = e.object();  // the wrapper owns a copy
    EXPECT_EQ(live_count(), base + 4);
  }
  EXPECT_EQ(live_count(), base);
}

TEST(ExceptionsCount, ThrowAndRethrowLeaveNoLiveExceptionBehind) {
  const std::int32_t base = live_count();
  try {
    try {
      throw core::IllegalStateException(core::ResourceKey{"IDS_ERR_ILLEGAL_STATE"});
    } catch (const Exception&) {
      EXPECT_GE(live_count(), base + 1);
      throw;
    }
  } catch (const core::IllegalStateException& e) {
    EXPECT_EQ(e.messageKey(), "IDS_ERR_ILLEGAL_STATE");
  }
  EXPECT_EQ(live_count(), base);
}

TEST(ExceptionsCount, ExceptionDestroyedOnAnotherThreadDecrementsItsOwnThreadsCounter) {
  const std::int32_t base = live_count();
  std::vector<InterfacePtr<IExceptionObject>> objects;
  for (int i = 0; i < 8; ++i) objects.push_back(Exception(u"x").object());
  EXPECT_EQ(live_count(), base + 8);
  std::thread releaser([&] {
    EXPECT_EQ(core::current_ecxeptions_count(), nullptr);  // a foreign thread has no counter
    objects.clear();
  });
  releaser.join();
  EXPECT_EQ(live_count(), base);
}

TEST(Exception, ResolvesResourceMessagesAndWrapsItsCause) {
  Exception inner(u"cause");
  Exception e(core::ResourceKey{"IDS_LISTSTREAMERROR"}, inner.object().get(), core::ListStreamException::CLSID,
              Exception::categoryOf({Exception::NetworkError, Exception::UnsupportedFormat}), u"aux");
  EXPECT_EQ(e.message(), core::resource_string("IDS_LISTSTREAMERROR"));
  EXPECT_EQ(e.messageKey(), "IDS_LISTSTREAMERROR");
  EXPECT_EQ(e.categories().count(), 2u);
  ASSERT_NE(e.inner(), nullptr);
  EXPECT_EQ(e.inner()->exception().message(), std::u16string(u"cause"));
  EXPECT_STREQ(e.what(), "Invalid data format in list stream");
}

TEST(Exception, CategoryTablesCoverAllTwentySixMembers) {
  for (int i = 0; i < Exception::kCategoryCount; ++i) {
    const auto c = static_cast<Exception::Category>(i);
    SCOPED_TRACE(i);
    EXPECT_EQ(Exception::categoryOf(c), Exception::Categories().set(i));
    ASSERT_NE(Exception::categoryTerm(c), nullptr);
    ASSERT_NE(Exception::categoryKey(c), nullptr);
    EXPECT_TRUE(core::has_resource_string("kern83", Exception::categoryKey(c), "en"));
    EXPECT_TRUE(core::has_resource_string("kern83", Exception::categoryKey(c), "ru"));
  }
  EXPECT_EQ(std::u16string(Exception::categoryTerm(Exception::NetworkError)), u"NetworkError");
  EXPECT_STREQ(Exception::categoryKey(Exception::NetworkError), "IDS_ENUM_EXCEPTIONCATEGORY_INET");
  EXPECT_EQ(std::u16string(Exception::categoryTerm(Exception::UnsupportedFormat)), u"UnsupportedFormat");
  EXPECT_EQ(Exception::categoryTerm(static_cast<Exception::Category>(26)), nullptr);
  EXPECT_TRUE(Exception::categoryOf(static_cast<Exception::Category>(-1)).none());
}

TEST(Exception, StackTraceIsCapturedAtConstruction) {
  Exception e(u"here");
  ASSERT_TRUE(e.stackTrace().captured());
  EXPECT_GT(e.stackTrace().size(), 2);
  // The test body is among the frames (symbols of the test executable may be absent, the module is not).
  EXPECT_NE(e.stackTrace().toString().find("Exception_test"), std::string::npos) << e.stackTrace().toString();
}

TEST(Exception, ObjectRaisesWithTheDynamicType) {
  core::IllegalArgumentException original("core/src/futureImpl", 122, core::ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  InterfacePtr<IExceptionObject> object = original.object();
  try {
    object->raise();
    FAIL() << "raise returned";
  } catch (const core::IllegalArgumentException& e) {
    EXPECT_EQ(e.module(), "kern83");
    EXPECT_EQ(e.sourceFile(), "core/src/futureImpl");
    EXPECT_EQ(e.sourceLine(), 122);
    EXPECT_EQ(e.message(), core::resource_string("IDS_ERR_ILLEGAL_ARGUMENT"));
  }
  void* out = reinterpret_cast<void*>(1);
  EXPECT_EQ(object->QueryInterface(core::IExceptionHandler::IID, &out), core::E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
}

TEST(Exception, ClassesAndNumericCodesDefaultToTheirKeys) {
  const std::pair<Exception, const char*> rows[] = {
      {core::IllegalArgumentException(), "IDS_ERR_ILLEGAL_ARGUMENT"},
      {core::IllegalStateException(), "IDS_ERR_ILLEGAL_STATE"},
      {core::UnsupportedOperationException(), "IDS_ERR_UNSUPPORTED_OPERATION"},
      {core::ListStreamException(), "IDS_LISTSTREAMERROR"},
      {core::NumericException(1), "IDS_NUMERROR_DIVIDEBYZERO"},
      {core::NumericException(2), "IDS_NUMERROR_NEGATIVEPOW"},
      {core::NumericException(3), "IDS_NUMERROR_OVERFLOW"}};
  for (const auto& [e, key] : rows) {
    SCOPED_TRACE(key);
    EXPECT_EQ(e.messageKey(), key);
    EXPECT_EQ(e.message(), core::resource_string(key));
  }
}

TEST(GetExceptionObject, WalksTheInnerChain) {
  EXPECT_FALSE(core::get_exception_object(nullptr, Exception::CLSID));

  core::IllegalStateException bottom(u"bottom");
  core::ListStreamException middle(bottom.object().get());
  Exception top(u"top", middle.object().get());
  InterfacePtr<IExceptionObject> chain = top.object();

  InterfacePtr<IExceptionObject> found = core::get_exception_object(chain.get(), core::IllegalStateException::CLSID);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->exception().message(), std::u16string(u"bottom"));
  EXPECT_EQ(core::get_exception_object(chain.get(), Exception::CLSID).get(), chain.get());  // the start counts
  EXPECT_FALSE(core::get_exception_object(chain.get(), core::NumericException::CLSID));
}

TEST(DeferredException, FirstOneWinsAndRaisingEmptiesTheSlot) {
  ASSERT_FALSE(core::have_deferred_exception());
  core::raise_deferred_exception();  // empty slot: nothing happens

  try {
    throw core::IllegalArgumentException(u"first");
  } catch (...) {
    core::defer_exception();
  }
  try {
    throw core::IllegalStateException(u"second");
  } catch (...) {
    core::defer_exception();
  }
  EXPECT_TRUE(core::have_deferred_exception());

  bool caughtFirst = false;
  try {
    core::raise_deferred_exception();
  } catch (const core::IllegalArgumentException& e) {
    caughtFirst = e.message() == std::u16string(u"first");
  }
  EXPECT_TRUE(caughtFirst);
  EXPECT_FALSE(core::have_deferred_exception());
  EXPECT_NO_THROW(core::raise_deferred_exception());
}

TEST(DeferredException, SlotIsPerThread) {
  try {
    throw Exception(u"main");
  } catch (...) {
    core::defer_exception();
  }
  bool otherSees = true;
  std::thread([&] { otherSees = core::have_deferred_exception(); }).join();
  EXPECT_FALSE(otherSees);
  EXPECT_THROW(core::raise_deferred_exception(), Exception);
}

struct RecordingHandler final : testing_support::RefCountedStub<core::IExceptionHandler> {
  void handleException(const Exception& e) override { seen.assign(e.message().begin(), e.message().end()); }
  std::u16string seen;
};

TEST(DestructorException, ThrowsAPlainCopyWithoutHandlerAndCallsTheHandlerOtherwise) {
  ASSERT_FALSE(core::get_destructor_exception_handler());
  core::IllegalStateException e(u"from a destructor");
  try {
    core::destructor_exception(e);
    FAIL() << "no handler: must throw";
  } catch (const core::IllegalStateException&) {
    FAIL() << "the copy is a plain Exception";
  } catch (const Exception& copy) {
    EXPECT_EQ(copy.message(), e.message());
  }

  RecordingHandler handler;
  core::set_destructor_exception_handler(&handler);
  EXPECT_EQ(handler.refs, 2u);  // the installed handler is held
  EXPECT_NO_THROW(core::destructor_exception(e));
  EXPECT_EQ(handler.seen, u"from a destructor");
  EXPECT_EQ(core::get_destructor_exception_handler().get(), &handler);

  core::set_destructor_exception_handler(nullptr);
  EXPECT_EQ(handler.refs, 1u);  // and released when replaced
  EXPECT_THROW(core::destructor_exception(e), Exception);
}

TEST(ExceptionSubclasses, DeriveCategoriesAndCausesAndHaveDistinctClassIds) {
  core::FileException file(core::FileException::NotFound, u"missing", 2, core::URL(u"file:///tmp/x"), u"extra");
  EXPECT_TRUE(file.categories().test(Exception::LocalFileAccessError));
  core::ThreadException thread(core::ThreadException::StartRefused, u"refused");
  core::CancelOperationException cancel(core::CancelOperationException::ByTimeout, thread);
  ASSERT_NE(cancel.inner(), nullptr);
  EXPECT_EQ(cancel.inner()->exception().clsid(), core::ThreadException::CLSID);
  EXPECT_EQ(core::TypeException(core::guid("71df1a80-0f8f-11d4-9853-008048da1252")).message(),
            std::u16string(u"71df1a80-0f8f-11d4-9853-008048da1252"));

  const core::GUID ids[] = {core::IllegalArgumentException::CLSID,
                            core::IllegalStateException::CLSID,
                            core::NumericException::CLSID,
                            core::ListStreamException::CLSID,
                            core::ThreadException::CLSID,
                            core::FileException::CLSID,
                            Exception::CLSID};
  for (std::size_t i = 0; i < std::size(ids); ++i) {
    for (std::size_t j = i + 1; j < std::size(ids); ++j) EXPECT_NE(ids[i], ids[j]);
  }
}

}  // namespace
