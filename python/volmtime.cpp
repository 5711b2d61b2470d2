// SPDX-License-Identifier: MIT
// The volmtime Python module: VolmTime's time base for Python scripts. It is a host like any
// other: it loads the library at run time and reaches it through the public headers only.
//
// Every Python object holds its own references and gives them back on close(), at the end of
// a `with` block, when it is collected, or at the latest when the interpreter exits. The
// loaded library stays loaded while any Python object that came from it exists.
#ifndef BOOST_DLL_USE_STD_FS
#define BOOST_DLL_USE_STD_FS
#endif
#include <VolmTime/VolmTime.h>

#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/dll/shared_library.hpp>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace {

constexpr std::uint64_t kUnitsPerSecond = 10'000'000;
// Long waits are cut into slices of this length so that Ctrl-C ends them.
constexpr std::uint32_t kSliceMs = 50;
constexpr std::uint64_t kSliceUnits = kSliceMs * 10'000ULL;
constexpr std::uint64_t kUnixEpochUnits = 116'444'736'000'000'000ULL;

// ---------------------------------------------------------------------------------------------
// Failures

// A failed call into the library: the result code, what was being done and the library's text
// (kept as UTF-16 until the interpreter's lock is held again).
class Failure : public std::exception {
 public:
  Failure(VolmResult code, std::string operation, std::u16string text)
      : code_(code), operation_(std::move(operation)), text_(std::move(text)) {}
  [[nodiscard]] const char* what() const noexcept override { return operation_.c_str(); }
  [[nodiscard]] VolmResult Code() const { return code_; }
  [[nodiscard]] const std::string& Operation() const { return operation_; }
  [[nodiscard]] const std::u16string& Text() const { return text_; }

 private:
  VolmResult code_;
  std::string operation_;
  std::u16string text_;
};

// The library could not be loaded from any of the places tried.
class LoadFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

PyObject* volmErrorType = nullptr;

py::str FromUtf16(const std::u16string& text) {
  int byteOrder = std::endian::native == std::endian::little ? -1 : 1;
  PyObject* decoded =
      PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(text.data()),
                            static_cast<Py_ssize_t>(text.size() * sizeof(char16_t)), "replace",
                            &byteOrder);
  if (decoded == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(decoded);
}

std::u16string ToUtf16(const py::str& text) {
  const py::bytes encoded = text.attr("encode")("utf-16-le");
  const std::string bytes = encoded;
  std::u16string wide(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < wide.size(); ++i) {
    wide[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                    (static_cast<unsigned char>(bytes[2 * i + 1]) << 8));
  }
  return wide;
}

void RaiseVolmError(const Failure& failure) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(failure.Code()));
  py::str text = FromUtf16(failure.Text());
  std::string message = failure.Operation() + " failed (" + code + ")";
  if (!failure.Text().empty()) message += ": " + text.cast<std::string>();
  py::object error = py::reinterpret_borrow<py::object>(volmErrorType)(message);
  error.attr("code") = failure.Code();
  error.attr("text") = text;
  error.attr("operation") = failure.Operation();
  PyErr_SetObject(volmErrorType, error.ptr());
}

// ---------------------------------------------------------------------------------------------
// References

// One reference to a library object, given back by Reset or the destructor.
template <typename Interface>
class Ref {
 public:
  Ref() = default;
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref&& other) noexcept {
    if (this != &other) {
      Reset();
      object_ = std::exchange(other.object_, nullptr);
    }
    return *this;
  }
  ~Ref() { Reset(); }

  // A second reference to the same object, for a caller that must outlive a concurrent close.
  [[nodiscard]] Ref Copy() const {
    Ref copy;
    if (object_ != nullptr) object_->AddRef();
    copy.object_ = object_;
    return copy;
  }
  void Reset() {
    if (Interface* object = std::exchange(object_, nullptr)) object->Release();
  }
  Interface** Out() {
    Reset();
    return &object_;
  }
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }
  Interface* operator->() const { return object_; }
  [[nodiscard]] Interface* Get() const { return object_; }

 private:
  Interface* object_ = nullptr;
};

std::u16string TextOf(IVolmWideCharString* string) {
  const VolmWideChar* buffer = nullptr;
  std::uint32_t length = 0;
  if (string == nullptr || string->GetBuffer(&buffer) != VOLM_S_OK || buffer == nullptr ||
      string->GetLength(&length) != VOLM_S_OK)
    return {};
  return {buffer, buffer + length};
}

// Throws a Failure with the object's error text when `result` is a failure. Needs no
// interpreter lock.
void Check(VolmResult result, IVolmUnknown* source, const std::string& operation) {
  if (VolmSucceeded(result)) return;
  std::u16string text;
  Ref<IGetVolmError> errors;
  if (source != nullptr &&
      source->QueryInterface(IID_IGetVolmError, errors.OutVoid()) == VOLM_S_OK) {
    Ref<IVolmError> error;
    errors->GetError(error.Out());
    if (error.Get() != nullptr) {
      Ref<IVolmWideCharString> message;
      error->GetText(message.Out());
      text = TextOf(message.Get());
    }
  }
  throw Failure(result, operation, std::move(text));
}

// ---------------------------------------------------------------------------------------------
// The loaded library

class Library {
 public:
  // Loads the first candidate that loads; names every file tried when none does.
  static std::shared_ptr<Library> Load(const std::optional<std::string>& file) {
    std::vector<std::pair<std::filesystem::path, bool>> candidates;  // (file, search system)
    if (file) {
      candidates.emplace_back(*file, false);
    } else {
      if (const char* fromEnvironment = std::getenv("VOLMTIME_LIBRARY");
          fromEnvironment != nullptr && *fromEnvironment != 0) {
        candidates.emplace_back(fromEnvironment, false);
      } else {
        // Where an install puts the library, seen from where it puts this module.
        const std::filesystem::path here = boost::dll::this_line_location().parent_path();
        candidates.emplace_back(
            (here / VOLMTIME_PYTHON_TO_LIBRARY / VOLMTIME_INSTALLED_LIBRARY_NAME).lexically_normal(),
            false);
#ifdef VOLMTIME_LIBRARY_FILE
        candidates.emplace_back(VOLMTIME_LIBRARY_FILE, false);
#endif
        candidates.emplace_back(VOLMTIME_INSTALLED_LIBRARY_NAME, true);
      }
    }
    auto library = std::shared_ptr<Library>(new Library);
    std::string tried;
    for (const auto& [candidate, searchSystem] : candidates) {
      std::error_code error;
      if (!searchSystem && !std::filesystem::exists(candidate, error)) {
        tried += "\n  " + candidate.string() + ": no such file";
        continue;
      }
      library->library_.load(candidate,
                             searchSystem ? boost::dll::load_mode::search_system_folders
                                          : boost::dll::load_mode::default_mode,
                             error);
      if (!error) break;
      tried += "\n  " + candidate.string() + ": " + error.message();
    }
    if (!library->library_.is_loaded())
      throw LoadFailure("cannot load the VolmTime library; tried:" + tried);
    library->createInstance_ =
        library->library_.get<VolmResult(const VolmId&, void**)>(kVolmCreateInstanceName);
    library->canUnload_ = library->library_.get<std::int32_t()>(kVolmCanDllUnloadName);
    library->detach_ = library->library_.get<void()>(kVolmDetachName);
    library->library_.get<void()>(kVolmAttachName)();
    return library;
  }

  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() {
    if (detach_ != nullptr) detach_();
    // Unloaded only once nothing of it is alive; otherwise it stays for the process.
    if (canUnload_ != nullptr && canUnload_() != 1)
      (void)new boost::dll::shared_library(std::move(library_));
  }

  // The time factory with one reference for the caller, taken at once.
  Ref<IVolmTimeFactory> Factory() const {
    void* object = nullptr;
    const VolmResult result = createInstance_(CLSID_VolmTimeFactory, &object);
    if (result != VOLM_S_OK || object == nullptr)
      throw Failure(result == VOLM_S_OK ? VOLM_E_POINTER : result, "CreateInstance", {});
    Ref<IVolmTimeFactory> factory;
    *factory.Out() = static_cast<IVolmTimeFactory*>(object);
    factory->AddRef();
    return factory;
  }
  [[nodiscard]] bool CanUnload() const { return canUnload_() == 1; }
  [[nodiscard]] std::string File() const { return library_.location().string(); }

 private:
  Library() = default;

  boost::dll::shared_library library_;
  VolmResult (*createInstance_)(const VolmId&, void**) = nullptr;
  std::int32_t (*canUnload_)() = nullptr;
  void (*detach_)() = nullptr;
};

// ---------------------------------------------------------------------------------------------
// Python objects

// Base of every object handed to Python. The set of live objects lets the interpreter's exit
// give back what scripts left open; it is touched only with the interpreter lock held.
class Object {
 public:
  explicit Object(std::shared_ptr<Library> library) : library_(std::move(library)) {
    Live().insert(this);
  }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() { Live().erase(this); }

  virtual void Close() = 0;
  [[nodiscard]] virtual bool Closed() const = 0;

  static std::set<Object*>& Live() {
    static auto* live = new std::set<Object*>;  // outlives every object, even at exit
    return *live;
  }
  static void CloseAll() {
    const std::vector<Object*> open(Live().begin(), Live().end());
    for (Object* object : open) object->Close();
  }

 protected:
  template <typename Interface>
  Interface* Open(const Ref<Interface>& ref, const char* what) const {
    if (ref.Get() == nullptr) throw py::value_error(std::string("the ") + what + " is closed");
    return ref.Get();
  }
  const std::shared_ptr<Library>& TheLibrary() const { return library_; }

 private:
  std::shared_ptr<Library> library_;
};

// A duration in 100-ns units from seconds (a number) or units (an int); exactly one.
std::uint64_t Duration(const py::object& seconds, const py::object& units) {
  if (seconds.is_none() == units.is_none())
    throw py::type_error("give the duration either in seconds or in units, not both or none");
  if (!units.is_none()) {
    const auto value = units.cast<std::int64_t>();
    if (value < 0) throw py::value_error("a duration cannot be negative");
    return static_cast<std::uint64_t>(value);
  }
  const double value = seconds.cast<double>();
  if (!(value >= 0.0) || value > 1.8e12) throw py::value_error("duration out of range");
  return static_cast<std::uint64_t>(std::llround(value * static_cast<double>(kUnitsPerSecond)));
}

// A timeout in milliseconds from seconds, rounded up; None waits without limit.
std::uint32_t TimeoutMs(const std::optional<double>& seconds) {
  if (!seconds) return VOLM_INFINITE;
  if (!(*seconds >= 0.0)) throw py::value_error("a timeout cannot be negative");
  const double ms = std::ceil(*seconds * 1000.0);
  if (ms >= static_cast<double>(VOLM_INFINITE)) throw py::value_error("timeout out of range");
  return static_cast<std::uint32_t>(ms);
}

// Raises the pending exception when a signal handler (Ctrl-C) raised one.
void CheckSignals() {
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

py::object DateTimeOf(std::uint64_t units) {
  const py::module_ datetime = py::module_::import("datetime");
  const py::object utc = datetime.attr("timezone").attr("utc");
  const auto sinceUnix = static_cast<std::int64_t>(units - kUnixEpochUnits);
  const py::object epoch = datetime.attr("datetime")(1970, 1, 1, py::arg("tzinfo") = utc);
  return epoch + datetime.attr("timedelta")(py::arg("microseconds") = sinceUnix / 10);
}

class Timer : public Object {
 public:
  Timer(std::shared_ptr<Library> library, Ref<IWaitableTimer> timer)
      : Object(std::move(library)), timer_(std::move(timer)) {}
  ~Timer() override { Close(); }
  void Close() override { timer_.Reset(); }
  [[nodiscard]] bool Closed() const override { return timer_.Get() == nullptr; }

  void SetRelative(const py::object& seconds, const py::object& units) {
    const std::uint64_t duration = Duration(seconds, units);
    IWaitableTimer* timer = Get();
    Check(timer->SetRelative(duration), timer, "SetRelative");
  }
  void SetAbsolute(std::uint64_t time) {
    IWaitableTimer* timer = Get();
    Check(timer->SetAbsolute(time), timer, "SetAbsolute");
  }
  void SetPeriodic(const py::object& seconds, const py::object& units) {
    const std::uint64_t period = Duration(seconds, units);
    IWaitableTimer* timer = Get();
    Check(timer->SetPeriodic(period), timer, "SetPeriodic");
  }
  void Cancel() {
    IWaitableTimer* timer = Get();
    Check(timer->Cancel(), timer, "Cancel");
  }
  [[nodiscard]] VolmHandle FileNo() const {
    VolmHandle handle{};
    IWaitableTimer* timer = Get();
    Check(timer->GetHandle(&handle), timer, "GetHandle");
    return handle;
  }

  // True when the wait ended by a firing or by the timeout, False when a cancellation ended
  // it. A wait longer than one slice runs on a helper thread while this thread looks for
  // Ctrl-C; an interrupted wait cancels the timer to release the helper.
  bool Wait(const std::optional<double>& timeout) {
    const std::uint32_t timeoutMs = TimeoutMs(timeout);
    Open(timer_, "timer");
    const Ref<IWaitableTimer> timer = timer_.Copy();  // survives a close() from another thread
    IWaitableTimer* raw = timer.Get();
    std::int32_t outcome = 0;
    if (timeoutMs <= kSliceMs) {
      VolmResult result = VOLM_S_OK;
      {
        const py::gil_scoped_release unlocked;
        result = raw->Wait(timeoutMs, &outcome);
      }
      Check(result, raw, "waiting for the timer");
      return outcome == 0;
    }
    struct Shared {
      std::mutex mutex;
      std::condition_variable done;
      bool finished = false;
      VolmResult result = VOLM_S_OK;
      std::int32_t outcome = 0;
    };
    auto shared = std::make_shared<Shared>();
    std::thread waiter([raw, shared, timeoutMs] {
      std::int32_t waited = 0;
      const VolmResult result = raw->Wait(timeoutMs, &waited);
      const std::lock_guard lock(shared->mutex);
      shared->result = result;
      shared->outcome = waited;
      shared->finished = true;
      shared->done.notify_one();
    });
    const auto finishedWithin = [&shared](std::chrono::milliseconds slice) {
      const py::gil_scoped_release unlocked;
      std::unique_lock lock(shared->mutex);
      return shared->done.wait_for(lock, slice, [&shared] { return shared->finished; });
    };
    bool interrupted = false;
    while (!finishedWithin(std::chrono::milliseconds(kSliceMs))) {
      if (PyErr_CheckSignals() != 0) {
        interrupted = true;
        break;
      }
    }
    if (interrupted) {
      // A cancellation wakes one waiter; another thread's wait on this timer may take it, so
      // cancel again until the helper is out.
      do {
        raw->Cancel();
      } while (!finishedWithin(std::chrono::milliseconds(kSliceMs)));
    }
    {
      const py::gil_scoped_release unlocked;
      waiter.join();
    }
    if (interrupted) throw py::error_already_set();
    Check(shared->result, raw, "waiting for the timer");
    return shared->outcome == 0;
  }

 private:
  [[nodiscard]] IWaitableTimer* Get() const { return Open(timer_, "timer"); }
  Ref<IWaitableTimer> timer_;
};

class Clock : public Object {
 public:
  Clock(std::shared_ptr<Library> library, Ref<IClock> clock, std::string kind)
      : Object(std::move(library)), clock_(std::move(clock)), kind_(std::move(kind)) {}
  ~Clock() override { Close(); }
  void Close() override { clock_.Reset(); }
  [[nodiscard]] bool Closed() const override { return clock_.Get() == nullptr; }
  [[nodiscard]] const std::string& Kind() const { return kind_; }

  [[nodiscard]] std::uint64_t Time() const {
    IClock* clock = Get();
    std::uint64_t time = 0;
    Check(clock->GetTime(&time), clock, "reading the " + kind_ + " clock");
    return time;
  }
  [[nodiscard]] std::optional<std::uint64_t> TryTime() const {
    IClock* clock = Get();
    bool valid = false;
    std::uint64_t time = 0;
    Check(clock->TryGetTime(&valid, &time), clock, "reading the " + kind_ + " clock");
    if (!valid) return std::nullopt;
    return time;
  }
  [[nodiscard]] bool IsSystemTime() const {
    IClock* clock = Get();
    bool system = false;
    Check(clock->IsSystemTime(&system), clock, "IsSystemTime");
    return system;
  }
  // The system clock and named clocks count 100-ns units since 1601-01-01 UTC; the relative
  // clock counts from the factory's start and has no calendar date.
  [[nodiscard]] py::object DateTime() const {
    if (kind_ == "relative")
      throw py::value_error("the relative clock counts from the factory's start, not a date");
    return DateTimeOf(Time());
  }

  // Sleeps on this clock's time axis, in slices so that Ctrl-C ends a long sleep.
  void Sleep(const py::object& seconds, const py::object& units) {
    const std::uint64_t duration = Duration(seconds, units);
    Open(clock_, "clock");
    const Ref<IClock> clock = clock_.Copy();
    IClock* raw = clock.Get();
    const auto sleep = [raw, this](std::uint64_t chunk) {
      VolmResult result = VOLM_S_OK;
      {
        const py::gil_scoped_release unlocked;
        result = raw->SleepTime(chunk);
      }
      Check(result, raw, "sleeping on the " + kind_ + " clock");
    };
    if (duration <= kSliceUnits) {
      sleep(duration);
      return;
    }
    std::uint64_t start = 0;
    Check(raw->GetTime(&start), raw, "reading the " + kind_ + " clock");
    for (;;) {
      std::uint64_t now = 0;
      Check(raw->GetTime(&now), raw, "reading the " + kind_ + " clock");
      const std::uint64_t elapsed = now >= start ? now - start : 0;
      if (elapsed >= duration) return;
      sleep(std::min(duration - elapsed, kSliceUnits));
      CheckSignals();
    }
  }

  std::unique_ptr<Timer> CreateTimer() const {
    IClock* clock = Get();
    Ref<IWaitableTimer> timer;
    Check(clock->CreateTimer(timer.Out()), clock, "CreateTimer");
    return std::make_unique<Timer>(TheLibrary(), std::move(timer));
  }

 private:
  [[nodiscard]] IClock* Get() const { return Open(clock_, "clock"); }
  Ref<IClock> clock_;
  std::string kind_;
};

class Counter : public Object {
 public:
  Counter(std::shared_ptr<Library> library, Ref<IHighResolutionCounter> counter)
      : Object(std::move(library)), counter_(std::move(counter)) {}
  ~Counter() override { Close(); }
  void Close() override { counter_.Reset(); }
  [[nodiscard]] bool Closed() const override { return counter_.Get() == nullptr; }

  [[nodiscard]] std::uint64_t Tick() const {
    IHighResolutionCounter* counter = Get();
    std::uint64_t tick = 0;
    Check(counter->GetTick(&tick), counter, "GetTick");
    return tick;
  }
  [[nodiscard]] std::uint64_t Frequency() const {
    IHighResolutionCounter* counter = Get();
    std::uint64_t frequency = 0;
    Check(counter->GetFrequency(&frequency), counter, "GetFrequency");
    return frequency;
  }
  [[nodiscard]] py::str Name() const {
    IHighResolutionCounter* counter = Get();
    Ref<IVolmWideCharString> name;
    Check(counter->GetName(name.Out()), counter, "GetName");
    return FromUtf16(TextOf(name.Get()));
  }

 private:
  [[nodiscard]] IHighResolutionCounter* Get() const { return Open(counter_, "counter"); }
  Ref<IHighResolutionCounter> counter_;
};

class Correction : public Object {
 public:
  Correction(std::shared_ptr<Library> library, Ref<IPiecewiseLinearCorrection> function)
      : Object(std::move(library)), function_(std::move(function)) {}
  ~Correction() override { Close(); }
  void Close() override { function_.Reset(); }
  [[nodiscard]] bool Closed() const override { return function_.Get() == nullptr; }

  void AddSample(std::uint64_t tick, double rate, std::uint64_t time) {
    IPiecewiseLinearCorrection* function = Get();
    Check(function->AddSample(tick, rate, time), function, "AddSample");
  }
  void RemoveLastSample() {
    IPiecewiseLinearCorrection* function = Get();
    Check(function->RemoveLastSample(), function, "RemoveLastSample");
  }
  void Publish() {
    IPiecewiseLinearCorrection* function = Get();
    Check(function->Publish(), function, "Publish");
  }
  void Reset() {
    IPiecewiseLinearCorrection* function = Get();
    Check(function->Reset(), function, "Reset");
  }
  [[nodiscard]] std::uint64_t TickToTime(std::uint64_t tick) const {
    IPiecewiseLinearCorrection* function = Get();
    std::uint64_t time = 0;
    Check(function->TickToTime(tick, &time), function, "TickToTime");
    return time;
  }
  [[nodiscard]] std::uint64_t TimeToTick(std::uint64_t time) const {
    IPiecewiseLinearCorrection* function = Get();
    std::uint64_t tick = 0;
    Check(function->TimeToTick(time, &tick), function, "TimeToTick");
    return tick;
  }
  [[nodiscard]] double Rate() const {
    IPiecewiseLinearCorrection* function = Get();
    double rate = 0.0;
    Check(function->GetRate(&rate), function, "GetRate");
    return rate;
  }
  [[nodiscard]] std::uint64_t SampleCount() const {
    IPiecewiseLinearCorrection* function = Get();
    std::uint64_t count = 0;
    Check(function->GetSampleCount(&count), function, "GetSampleCount");
    return count;
  }

 private:
  [[nodiscard]] IPiecewiseLinearCorrection* Get() const {
    return Open(function_, "correction function");
  }
  Ref<IPiecewiseLinearCorrection> function_;
};

// The time factory: the one object a script opens, from which every other comes.
class TimeBase : public Object {
 public:
  explicit TimeBase(const std::shared_ptr<Library>& library)
      : Object(library), factory_(library->Factory()) {
    Check(factory_->QueryInterface(IID_IVolmTimeFactoryAdvanced, advanced_.OutVoid()),
          factory_.Get(), "asking the factory for its advanced interface");
  }
  ~TimeBase() override { Close(); }
  void Close() override {
    advanced_.Reset();
    factory_.Reset();
  }
  [[nodiscard]] bool Closed() const override { return factory_.Get() == nullptr; }
  [[nodiscard]] std::string LibraryFile() const { return TheLibrary()->File(); }
  [[nodiscard]] bool CanUnload() const { return TheLibrary()->CanUnload(); }

  std::unique_ptr<Clock> RelativeClock() const {
    IVolmTimeFactory* factory = Factory();
    Ref<IClock> clock;
    Check(factory->GetRelativeClock(clock.Out()), factory, "GetRelativeClock");
    return std::make_unique<Clock>(TheLibrary(), std::move(clock), "relative");
  }
  std::unique_ptr<Clock> SystemClock() const {
    IVolmTimeFactory* factory = Factory();
    Ref<IClock> clock;
    Check(factory->GetSystemClock(clock.Out()), factory, "GetSystemClock");
    return std::make_unique<Clock>(TheLibrary(), std::move(clock), "system");
  }
  std::unique_ptr<Clock> NamedClock(const py::str& name) const {
    IVolmTimeFactory* factory = Factory();
    const std::u16string wide = ToUtf16(name);
    Ref<IClock> clock;
    Check(factory->CreateSynchronizedClock(wide.c_str(), clock.Out()), factory,
          "opening the named clock \"" + name.cast<std::string>() + "\"");
    return std::make_unique<Clock>(TheLibrary(), std::move(clock), "named");
  }
  std::unique_ptr<Counter> GetCounter() const {
    IVolmTimeFactory* factory = Factory();
    Ref<IHighResolutionCounter> counter;
    Check(factory->GetCounter(counter.Out()), factory, "GetCounter");
    return std::make_unique<Counter>(TheLibrary(), std::move(counter));
  }
  [[nodiscard]] bool CounterAvailable() const {
    IVolmTimeFactory* factory = Factory();
    bool available = false;
    Check(factory->IsCounterAvailable(&available), factory, "IsCounterAvailable");
    return available;
  }
  std::unique_ptr<Correction> CreateLocalCorrection() const {
    IVolmTimeFactoryAdvanced* advanced = Advanced();
    Ref<IPiecewiseLinearCorrection> function;
    Check(advanced->CreateLocalCorrection(function.Out()), advanced, "CreateLocalCorrection");
    return std::make_unique<Correction>(TheLibrary(), std::move(function));
  }
  std::unique_ptr<Correction> CreateSharedCorrection(const py::str& name) const {
    IVolmTimeFactoryAdvanced* advanced = Advanced();
    const std::u16string wide = ToUtf16(name);
    Ref<IPiecewiseLinearCorrection> function;
    Check(advanced->CreateSharedMemoryCorrection(wide.c_str(), function.Out()), advanced,
          "creating the shared correction function \"" + name.cast<std::string>() + "\"");
    return std::make_unique<Correction>(TheLibrary(), std::move(function));
  }
  std::unique_ptr<Correction> OpenSharedCorrection(const py::str& name) const {
    IVolmTimeFactoryAdvanced* advanced = Advanced();
    const std::u16string wide = ToUtf16(name);
    Ref<IPiecewiseLinearCorrection> function;
    Check(advanced->OpenSharedMemoryCorrection(wide.c_str(), function.Out()), advanced,
          "opening the shared correction function \"" + name.cast<std::string>() + "\"");
    return std::make_unique<Correction>(TheLibrary(), std::move(function));
  }

  // The index of the handle that ended the wait (0 when all were waited for), or None after
  // the timeout. Waits in slices so that Ctrl-C ends it.
  std::optional<std::uint32_t> WaitForEvents(const py::sequence& handles, bool waitAll,
                                             const std::optional<double>& timeout) const {
    std::vector<VolmHandle> native;
    for (const py::handle item : handles) {
      native.push_back(py::hasattr(item, "fileno") ? item.attr("fileno")().cast<VolmHandle>()
                                                   : item.cast<VolmHandle>());
    }
    const std::uint32_t timeoutMs = TimeoutMs(timeout);
    IVolmTimeFactory* factory = Factory();
    Ref<IWaitForEvents> waiter;
    Check(factory->CreateWaitForEvents(waiter.Out()), factory, "CreateWaitForEvents");
    const auto count = static_cast<std::uint32_t>(native.size());
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
      std::uint32_t sliceMs = kSliceMs;
      if (timeoutMs != VOLM_INFINITE) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        sliceMs = static_cast<std::uint32_t>(
            std::clamp<std::int64_t>(left.count(), 0, static_cast<std::int64_t>(kSliceMs)));
      }
      std::uint32_t outcome = VOLM_WAIT_FAILED;
      VolmResult result = VOLM_S_OK;
      {
        const py::gil_scoped_release unlocked;
        result = waiter->Wait(native.data(), count, waitAll, sliceMs, &outcome);
      }
      Check(result, waiter.Get(), "waiting for events");
      if (outcome < VOLM_WAIT_OBJECT_0 + count) return outcome - VOLM_WAIT_OBJECT_0;
      if (outcome >= VOLM_WAIT_ABANDONED_0 && outcome < VOLM_WAIT_ABANDONED_0 + count)
        return outcome - VOLM_WAIT_ABANDONED_0;
      if (outcome != VOLM_WAIT_TIMEOUT)
        throw Failure(VOLM_E_FAIL, "waiting for events", u"the wait failed");
      if (sliceMs < kSliceMs) return std::nullopt;
      CheckSignals();
    }
  }

 private:
  [[nodiscard]] IVolmTimeFactory* Factory() const { return Open(factory_, "time base"); }
  [[nodiscard]] IVolmTimeFactoryAdvanced* Advanced() const { return Open(advanced_, "time base"); }
  Ref<IVolmTimeFactory> factory_;
  Ref<IVolmTimeFactoryAdvanced> advanced_;
};

// `with x:` gives x and closes it at the end of the block.
template <typename Class>
void AddCloseProtocol(Class& cls) {
  using Type = typename Class::type;
  cls.def("close", &Type::Close, "Gives the object's references back; later calls raise.")
      .def_property_readonly("closed", &Type::Closed, "True once close() has run.")
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__",
           [](Type& self, const py::object&, const py::object&, const py::object&) {
             self.Close();
             return false;
           });
}

}  // namespace

PYBIND11_MODULE(volmtime, module) {
  module.doc() =
      "VolmTime's time base: clocks, shared correction functions and timers, from the VolmTime "
      "library loaded at run time. Times are int counts of 100-ns units.";
  module.attr("UNITS_PER_SECOND") = kUnitsPerSecond;

  volmErrorType = PyErr_NewExceptionWithDoc(
      "volmtime.VolmError",
      "A VolmTime operation failed: `code` is its result code, `text` the library's text and "
      "`operation` what was being done.",
      PyExc_Exception, nullptr);
  if (volmErrorType == nullptr) throw py::error_already_set();
  module.attr("VolmError") = py::reinterpret_borrow<py::object>(volmErrorType);
  py::register_exception_translator([](std::exception_ptr failure) {
    try {
      if (failure) std::rethrow_exception(failure);
    } catch (const Failure& error) {
      RaiseVolmError(error);
    } catch (const LoadFailure& error) {
      PyErr_SetString(PyExc_OSError, error.what());
    }
  });

  py::class_<Timer> timer(module, "Timer",
                          "A timer on its clock's time axis, armed in 100-ns units or seconds.");
  AddCloseProtocol(timer);
  timer
      .def("set_relative", &Timer::SetRelative, py::arg("seconds") = py::none(), py::kw_only(),
           py::arg("units") = py::none(), "Fires once after a duration on the clock.")
      .def("set_absolute", &Timer::SetAbsolute, py::arg("time"),
           "Fires once when the clock reaches `time` (100-ns units of the clock).")
      .def("set_periodic", &Timer::SetPeriodic, py::arg("seconds") = py::none(), py::kw_only(),
           py::arg("units") = py::none(), "Fires every period, the first after one period.")
      .def("wait", &Timer::Wait, py::arg("timeout") = py::none(),
           "Waits for a firing (timeout in seconds, None: no limit). True after a firing or "
           "the timeout, False after a cancellation. Ctrl-C ends it and cancels the timer.")
      .def("cancel", &Timer::Cancel, "Stops the timer and releases one waiting thread.")
      .def("fileno", &Timer::FileNo,
           "The timer's descriptor, readable when it has fired (for selectors and asyncio); "
           "a wait() consumes the firing.");

  py::class_<Clock> clock(module, "Clock", "A clock: the relative, the system or a named clock.");
  AddCloseProtocol(clock);
  clock.def_property_readonly("kind", &Clock::Kind, "'relative', 'system' or 'named'.")
      .def("time", &Clock::Time, "The current time in 100-ns units from the clock's origin.")
      .def("try_time", &Clock::TryTime,
           "The current time, or None where the clock's function is not defined now.")
      .def("is_system_time", &Clock::IsSystemTime,
           "True when the clock reads the platform's system time.")
      .def("datetime", &Clock::DateTime,
           "The time as an aware UTC datetime (system and named clocks).")
      .def("sleep", &Clock::Sleep, py::arg("seconds") = py::none(), py::kw_only(),
           py::arg("units") = py::none(), "Sleeps for a duration on this clock; Ctrl-C ends it.")
      .def("create_timer", &Clock::CreateTimer, "A new timer on this clock's time axis.");

  py::class_<Counter> counter(module, "Counter", "The high-resolution tick counter.");
  AddCloseProtocol(counter);
  counter.def("tick", &Counter::Tick, "The current tick.")
      .def_property_readonly("frequency", &Counter::Frequency, "Ticks per second.")
      .def_property_readonly("name", &Counter::Name, "The counter's name.");

  py::class_<Correction> correction(
      module, "Correction",
      "A piecewise-linear correction function from counter ticks to 100-ns units.");
  AddCloseProtocol(correction);
  correction
      .def("add_sample", &Correction::AddSample, py::arg("tick"), py::arg("rate"),
           py::arg("time"),
           "Appends a sample: at `tick` the time is `time`, then `rate` units per tick "
           "(0.0: undefined); visible after publish().")
      .def("remove_last_sample", &Correction::RemoveLastSample,
           "Withdraws the latest sample not yet published.")
      .def("publish", &Correction::Publish, "Makes the samples appended so far visible.")
      .def("reset", &Correction::Reset, "Empties the function and publishes that.")
      .def("tick_to_time", &Correction::TickToTime, py::arg("tick"))
      .def("time_to_tick", &Correction::TimeToTick, py::arg("time"))
      .def("rate", &Correction::Rate, "Units per tick now.")
      .def("sample_count", &Correction::SampleCount, "Samples held.");

  py::class_<TimeBase> base(module, "TimeBase",
                            "The library's time factory; every other object comes from it.");
  AddCloseProtocol(base);
  base.def_property_readonly("library", &TimeBase::LibraryFile, "The library file loaded.")
      .def("can_unload", &TimeBase::CanUnload,
           "True once every object of the library, from any host in this process, is released.")
      .def("relative_clock", &TimeBase::RelativeClock, "Time since the factory was made.")
      .def("system_clock", &TimeBase::SystemClock, "The platform's system time.")
      .def("named_clock", &TimeBase::NamedClock, py::arg("name"),
           "The clock that the shared correction function `name` drives.")
      .def("counter", &TimeBase::GetCounter)
      .def("counter_available", &TimeBase::CounterAvailable)
      .def("create_local_correction", &TimeBase::CreateLocalCorrection,
           "A correction function in this process's memory.")
      .def("create_shared_correction", &TimeBase::CreateSharedCorrection, py::arg("name"),
           "The writer of the shared correction function `name` (created or taken over).")
      .def("open_shared_correction", &TimeBase::OpenSharedCorrection, py::arg("name"),
           "A reader of the shared correction function `name`.")
      .def("wait_for_events", &TimeBase::WaitForEvents, py::arg("handles"),
           py::arg("wait_all") = false, py::arg("timeout") = py::none(),
           "Waits for any (or all) of the handles: ints or objects with fileno(). The index of "
           "the one that ended the wait, or None after the timeout (seconds).");

  module.def(
      "open",
      [](const std::optional<std::string>& library) {
        return std::make_unique<TimeBase>(Library::Load(library));
      },
      py::arg("library") = py::none(),
      "Loads the library (the file given, else $VOLMTIME_LIBRARY, else where it is installed or "
      "built) and opens its time factory.");

  // Whatever a script leaves open is given back before the interpreter goes.
  py::module_::import("atexit").attr("register")(py::cpp_function([] { Object::CloseAll(); }));
}
