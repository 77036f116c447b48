// The argument prober of the interface sweep: given one export and a set of valid arguments for it, calls it
// again and again with one argument spoiled at a time and checks the answer.
//
//   null      every pointer argument NULL in turn: the expected code (per argument, see Args::nulls) and every
//             handle output (T **) cleared when the call fails;
//   hollow    every image, mono-image, matrix or back-projection record with its pixel storage NULL in turn
//             (same size, so no size check can save the call): VORN_E_NULL unless Args::hollow says otherwise;
//   mismatch  (kSized) every record in turn two columns and two rows larger (wrong for halving exports too):
//             a failure code, and every record and raw buffer of the call unchanged, to the byte, canaries
//             included;
//   format    (kFormat) every colour image in turn in the next colour model: the same;
//   extreme   every integer, real and geometry scalar in turn at its extremes, every rectangle argument at the
//             extremes: no crash, no undefined behaviour (the sanitizer build aborts on it), canaries intact.
//
// Records and raw buffers of every spoiled call are copies with canary bytes on both sides of each plane.
#ifndef VORN_TESTS_INTERFACE_PROBE_H
#define VORN_TESTS_INTERFACE_PROBE_H

#include <float.h>
#include <math.h>
#include <stdint.h>
#include <string.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "vorn.h"

namespace vorn_probe {

// Probe selection flags of a Args.
enum : unsigned {
  kSized = 1u << 0,     // records must agree in size: run the mismatch probe
  kFormat = 1u << 1,    // colour images must be of the expected model: run the format probe
  kConsumes = 1u << 2,  // the call frees or destroys an argument: only the null probe runs
  kNoExtreme = 1u << 3, // no extreme-scalar probe (the reason is given next to the entry)
};

// Per pointer argument, in order, the expected answer when that argument is NULL:
//   n  VORN_E_NULL (NULL for functions returning a handle)   p  VORN_E_PARAM   0  zero
//   o  optional argument: any answer                          t  trusted, not probed (Args::reason says why)
// A missing character means 'n'. Args::hollow is the same per record argument for the hollow probe.
struct Args {
  const char *nulls = "";
  unsigned flags = 0;
  const char *hollow = "";
  const char *reason = nullptr;
};

// A raw host buffer (frame, rows, array) of known length, passed where the export takes a plain pointer.
struct Raw {
  uint8_t *data;
  size_t bytes;
  operator uint8_t *() const { return data; }
  operator const uint8_t *() const { return data; }
  operator void *() const { return data; }
  operator const void *() const { return data; }
  operator int32_t *() const { return reinterpret_cast<int32_t *>(data); }
  operator vorn_point *() const { return reinterpret_cast<vorn_point *>(data); }
  operator const vorn_point *() const { return reinterpret_cast<const vorn_point *>(data); }
  operator vorn_rect *() const { return reinterpret_cast<vorn_rect *>(data); }
  operator vorn_point2f *() const { return reinterpret_cast<vorn_point2f *>(data); }
  operator const vorn_point2f *() const { return reinterpret_cast<const vorn_point2f *>(data); }
  operator uint32_t *() const { return reinterpret_cast<uint32_t *>(data); }
  operator double *() const { return reinterpret_cast<double *>(data); }
  operator const double *() const { return reinterpret_cast<const double *>(data); }
};

// A handle output whose object, when one is made, is released at once with `release`.
template <class T>
struct Out {
  T *value = nullptr;
  std::function<void(T *)> release;
};

std::string describe_code(uint64_t v);

namespace detail {

constexpr size_t kCanary = 16;
constexpr uint8_t kCanaryByte = 0xC5;

// One plane copied between canaries.
struct Plane {
  std::vector<uint8_t> bytes;  // canary, copy, canary
  std::vector<uint8_t> before; // the copy as it was handed to the call
  uint8_t *start() { return bytes.data() + kCanary; }
  void make(const void *src, size_t n) {
    bytes.assign(n + 2 * kCanary, kCanaryByte);
    if (src && n) memcpy(start(), src, n);
    before.assign(start(), start() + n);
  }
  bool canaries_intact() const {
    for (size_t i = 0; i < kCanary; ++i) {
      if (bytes[i] != kCanaryByte || bytes[bytes.size() - 1 - i] != kCanaryByte) return false;
    }
    return true;
  }
  bool unchanged() const { return memcmp(bytes.data() + kCanary, before.data(), before.size()) == 0; }
};

// Copies of the records and raw buffers of one call; a check reports the first damaged one.
struct Copies {
  std::vector<std::unique_ptr<Plane>> planes;
  std::vector<std::unique_ptr<vorn_image>> images;
  std::vector<std::unique_ptr<vorn_mono_image>> monos;
  std::vector<std::unique_ptr<vorn_matrix>> matrices;
  std::vector<std::unique_ptr<vorn_backproject>> bps;
  std::vector<std::unique_ptr<vorn_rect>> rects;

  uint8_t *plane(const void *src, size_t n) {
    planes.push_back(std::make_unique<Plane>());
    planes.back()->make(src, n);
    return planes.back()->start();
  }
  bool canaries_intact() const {
    for (auto &p : planes) if (!p->canaries_intact()) return false;
    return true;
  }
  bool unchanged() const {
    for (auto &p : planes) if (!p->unchanged()) return false;
    return true;
  }
};

// How a given argument is copied, spoiled and handed over. The default passes values through.
template <class A>
struct Arg {
  static A copy(const A &a, Copies &, int, bool) { return a; }
  static constexpr bool is_record = false;
  static constexpr bool is_colour = false;
};

// grow: one more column and row than the original (for the mismatch probe); hollow: storage NULL.
inline size_t grown(uint32_t v, int grow) { return (size_t)v + (size_t)grow; }

inline vorn_image *record_copy(vorn_image *a, Copies &c, int grow, bool hollow) {
  c.images.push_back(std::make_unique<vorn_image>(*a));
  vorn_image *r = c.images.back().get();
  r->width = (uint32_t)grown(a->width, grow);
  r->height = (uint32_t)grown(a->height, grow);
  const size_t n = (size_t)r->width * r->height, old = (size_t)a->width * a->height;
  for (int p = 0; p < 3; ++p) {
    if (hollow) {
      r->plane[p] = nullptr;
    } else {
      std::vector<uint8_t> src(n, 0x3C);
      if (a->plane[p]) memcpy(src.data(), a->plane[p], old < n ? old : n);
      r->plane[p] = c.plane(src.data(), n);
    }
  }
  return r;
}

template <class Rec, class Elem>
Rec *copy_flat(Rec *a, std::vector<std::unique_ptr<Rec>> &store, Copies &c, int grow, bool hollow) {
  store.push_back(std::make_unique<Rec>(*a));
  Rec *r = store.back().get();
  r->width = (decltype(r->width))grown((uint32_t)a->width, grow);
  r->height = (decltype(r->height))grown((uint32_t)a->height, grow);
  if (hollow) {
    r->data = nullptr;
  } else {
    const size_t n = (size_t)r->width * r->height, old = (size_t)a->width * a->height;
    std::vector<Elem> src(n, (Elem)0x3C);
    if (a->data) memcpy(src.data(), a->data, (old < n ? old : n) * sizeof(Elem));
    r->data = reinterpret_cast<decltype(r->data)>(c.plane(src.data(), n * sizeof(Elem)));
  }
  return r;
}

inline vorn_mono_image *record_copy(vorn_mono_image *a, Copies &c, int grow, bool hollow) {
  return copy_flat<vorn_mono_image, uint8_t>(a, c.monos, c, grow, hollow);
}
inline vorn_backproject *record_copy(vorn_backproject *a, Copies &c, int grow, bool hollow) {
  return copy_flat<vorn_backproject, uint32_t>(a, c.bps, c, grow, hollow);
}
// Matrices are rows x cols, both grown.
inline vorn_matrix *record_copy(vorn_matrix *a, Copies &c, int grow, bool hollow) {
  c.matrices.push_back(std::make_unique<vorn_matrix>(*a));
  vorn_matrix *r = c.matrices.back().get();
  r->rows = a->rows + grow;
  r->cols = a->cols + grow;
  if (hollow) {
    r->data = nullptr;
  } else {
    const size_t n = (size_t)r->rows * r->cols, old = (size_t)a->rows * a->cols;
    std::vector<float> src(n, 0.5f);
    if (a->data) memcpy(src.data(), a->data, (old < n ? old : n) * sizeof(float));
    r->data = reinterpret_cast<float *>(c.plane(src.data(), n * sizeof(float)));
  }
  return r;
}

template <class T>
struct Arg<T *> {
  using Rec = std::remove_const_t<T>;
  static constexpr bool is_record = std::is_same_v<Rec, vorn_image> || std::is_same_v<Rec, vorn_mono_image> ||
                                    std::is_same_v<Rec, vorn_matrix> || std::is_same_v<Rec, vorn_backproject>;
  static constexpr bool is_colour = std::is_same_v<Rec, vorn_image>;
  static T *copy(T *a, Copies &c, int grow, bool hollow) {
    if constexpr (is_record) {
      return a ? record_copy(const_cast<Rec *>(a), c, grow, hollow) : nullptr;
    } else {
      return a;
    }
  }
};

template <>
struct Arg<Raw> {
  static constexpr bool is_record = false;
  static constexpr bool is_colour = false;
  static Raw copy(const Raw &a, Copies &c, int, bool) { return Raw{c.plane(a.data, a.bytes), a.bytes}; }
};

// Extreme values of each scalar kind.
template <class P>
std::vector<P> extremes() {
  if constexpr (std::is_same_v<P, bool>) {
    return {};
  } else if constexpr (std::is_integral_v<P>) {
    using L = std::numeric_limits<P>;
    return {L::min(), L::max(), (P)(L::max() / 2 + 1), (P)-1};
  } else if constexpr (std::is_floating_point_v<P>) {
    using L = std::numeric_limits<P>;
    return {L::quiet_NaN(), L::infinity(), -L::infinity(), L::max(), -L::max(), (P)1e12};
  } else if constexpr (std::is_same_v<P, vorn_line>) {
    const int32_t lo = INT32_MIN, hi = INT32_MAX;
    return {{lo, lo, hi, hi}, {hi, hi, lo, lo}, {hi, lo, lo, hi}, {0, 0, hi, 0}, {lo, 0, 0, 0}, {0, lo, 0, hi}};
  } else if constexpr (std::is_same_v<P, vorn_rect>) {
    const int32_t lo = INT32_MIN, hi = INT32_MAX;
    return {{lo, lo, hi, hi}, {hi, hi, lo, lo}, {0, 0, hi, hi}, {lo, lo, 1, 1}};
  } else if constexpr (std::is_same_v<P, vorn_point>) {
    return {{INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MAX}, {INT32_MIN, INT32_MAX}};
  } else {
    return {};
  }
}

template <class T>
struct is_out : std::false_type {};
template <class T>
struct is_out<Out<T>> : std::true_type {};

template <class T>
T *const kSentinel = reinterpret_cast<T *>((uintptr_t)0x5A5A5A50u);

// A given argument as the parameter type of the export.
template <class P, class A>
P pass(A &a) {
  if constexpr (is_out<A>::value) {
    return &a.value;
  } else {
    return (P)a;
  }
}

template <class A>
void prime(A &a) {
  if constexpr (is_out<A>::value) a.value = kSentinel<typename std::remove_pointer_t<decltype(a.value)>>;
}

// Releases an object a call made through an Out, and says whether the output was left at the sentinel.
template <class A>
void settle(A &a) {
  if constexpr (is_out<A>::value) {
    if (a.value && a.value != kSentinel<std::remove_pointer_t<decltype(a.value)>> && a.release) a.release(a.value);
  }
}

template <class A>
bool out_cleared(const A &a) {
  if constexpr (is_out<A>::value) {
    return a.value == nullptr;
  } else {
    return true;
  }
}

// Objects returned by allocating exports, released after each call.
inline void release_returned(vorn_image *p) { vorn_image_free(p); }
inline void release_returned(vorn_mono_image *p) { vorn_mono_image_free(p); }
inline void release_returned(vorn_matrix *p) { vorn_matrix_free(p); }
inline void release_returned(vorn_bmp *p) { vorn_bmp_free(p); }
inline void release_returned(vorn_counter *p) { vorn_counter_destroy(p); }
inline void release_returned(vorn_histogram *p) { vorn_histogram_free(p); }
inline void release_returned(vorn_backproject *p) { vorn_backproject_free(p); }
template <class T>
void release_returned(T *) {}  // storage of an object (a row, the pixel rows, the area mask): not owned

template <class R>
uint64_t outcome(R r) {
  if constexpr (std::is_pointer_v<R>) {
    return r != nullptr;
  } else if constexpr (std::is_floating_point_v<R>) {
    return 0;
  } else {
    return (uint64_t)r;
  }
}

}  // namespace detail

// Runs the probes of one export. Failures are reported against `name`.
class Prober {
 public:
  explicit Prober(std::string name) : name_(std::move(name)) {}

  template <class R, class... P, class... A>
  void call(R (*fn)(P...), const Args &rule, A... args) {
    static_assert(sizeof...(P) == sizeof...(A), "one given argument per parameter");
    if (has_trusted(rule)) {
      EXPECT_TRUE(rule.reason && *rule.reason) << name_ << ": a trusted argument needs its reason";
    }
    std::tuple<A...> base(args...);
    run_nulls<R>(fn, rule, base, std::index_sequence_for<P...>{});
    if (rule.flags & kConsumes) return;
    run_hollow<R>(fn, rule, base, std::index_sequence_for<P...>{});
    if (rule.flags & kSized) run_spoiled<R, false>(fn, base, "two columns and rows more", std::index_sequence_for<P...>{});
    if (rule.flags & kFormat) run_spoiled<R, true>(fn, base, "another colour model", std::index_sequence_for<P...>{});
    if (!(rule.flags & kNoExtreme)) run_extremes<R>(fn, base, std::index_sequence_for<P...>{});
  }

  int calls() const { return calls_; }

 private:
  static bool has_trusted(const Args &s) { return strchr(s.nulls, 't') || strchr(s.hollow, 't'); }

  static char expect_at(const char *s, int k) {
    const size_t n = strlen(s);
    return (size_t)k < n ? s[k] : 'n';
  }

  template <class R>
  void check_code(char e, uint64_t got, const std::string &what) {
    if (e == 'o' || e == 't') return;
    if constexpr (std::is_void_v<R> || std::is_floating_point_v<R>) return;
    uint64_t want;
    if constexpr (std::is_pointer_v<R>) {
      want = 0;  // a handle-returning export answers NULL to every fault
      (void)e;
    } else {
      want = e == 'p' ? VORN_E_PARAM : e == '0' ? 0 : e == 'e' ? VORN_E_NO_RESULT : VORN_E_NULL;
    }
    EXPECT_EQ(got, want) << name_ << " " << what << ": answered " << describe_code(got) << ", expected "
                         << describe_code(want);
  }

  template <class R, class F, class Tup, size_t... I>
  uint64_t invoke(F fn, Tup &t, std::index_sequence<I...>) {
    ++calls_;
    (detail::prime(std::get<I>(t)), ...);
    if constexpr (std::is_void_v<R>) {
      fn(arg_for<F, I>(std::get<I>(t))...);
      (detail::settle(std::get<I>(t)), ...);
      return 0;
    } else {
      R r = fn(arg_for<F, I>(std::get<I>(t))...);
      uint64_t o = detail::outcome(r);
      if constexpr (std::is_pointer_v<R>) {
        if (r) detail::release_returned(r);
      }
      (detail::settle(std::get<I>(t)), ...);
      return o;
    }
  }

  template <class F>
  struct Params;
  template <class R, class... P>
  struct Params<R (*)(P...)> {
    using type = std::tuple<P...>;
  };
  template <class F, size_t I>
  using ParamAt = std::tuple_element_t<I, typename Params<F>::type>;

  template <class F, size_t I, class A>
  static ParamAt<F, I> arg_for(A &a) {
    return detail::pass<ParamAt<F, I>>(a);
  }

  // A copy of the given arguments with every record and raw buffer in canaried storage; record `grow_at` two
  // columns and rows larger, `hollow_at` without storage, colour image `shift_at` in the next colour model.
  template <class Tup, size_t... I>
  Tup copied(const Tup &base, detail::Copies &c, int grow_at, int hollow_at, int shift_at,
             std::index_sequence<I...>) {
    return Tup(copy_one<I>(std::get<I>(base), c, grow_at, hollow_at, shift_at)...);
  }
  template <size_t I, class A>
  static A copy_one(const A &a, detail::Copies &c, int grow_at, int hollow_at, int shift_at) {
    A r = detail::Arg<A>::copy(a, c, (int)I == grow_at ? 2 : 0, (int)I == hollow_at);
    if constexpr (detail::Arg<A>::is_colour) {
      if ((int)I == shift_at && r) const_cast<vorn_image *>(r)->format = (r->format + 1) % 3;
    }
    return r;
  }

  template <class R, class F, class Tup, size_t... I>
  void run_nulls(F fn, const Args &rule, Tup &base, std::index_sequence<I...> seq) {
    int k = 0;
    auto one = [&](auto ic) {
      constexpr size_t J = decltype(ic)::value;
      using P = ParamAt<F, J>;
      if constexpr (std::is_pointer_v<P>) {
        const char e = expect_at(rule.nulls, k++);
        if (e == 't') return;
        detail::Copies c;
        Tup t = copied(base, c, -1, -1, -1, seq);
        uint64_t got = invoke_with_null<R, J>(fn, t, seq);
        check_code<R>(e, got, "with argument " + std::to_string(J + 1) + " NULL");
        if (e != 'o' && got != VORN_OK) check_outs_cleared<J>(t, seq, "argument " + std::to_string(J + 1) + " NULL");
        EXPECT_TRUE(c.canaries_intact()) << name_ << " wrote outside a buffer with argument " << J + 1 << " NULL";
        std::apply([](auto &...a) { (detail::settle(a), ...); }, t);
      }
    };
    (one(std::integral_constant<size_t, I>{}), ...);
    (void)one;
  }

  template <size_t Skip, class Tup, size_t... I>
  void check_outs_cleared(const Tup &t, std::index_sequence<I...>, const std::string &what) {
    auto one = [&](auto ic) {
      constexpr size_t J = decltype(ic)::value;
      if constexpr (J != Skip) {
        EXPECT_TRUE(detail::out_cleared(std::get<J>(t)))
            << name_ << " failed with " << what << " but left output argument " << J + 1 << " set";
      }
    };
    (one(std::integral_constant<size_t, I>{}), ...);
    (void)one;
  }

  template <class R, size_t J, class F, class Tup, size_t... I>
  uint64_t invoke_with_null(F fn, Tup &t, std::index_sequence<I...>) {
    ++calls_;
    (detail::prime(std::get<I>(t)), ...);
    auto arg = [&](auto ic) -> ParamAt<F, decltype(ic)::value> {
      constexpr size_t K = decltype(ic)::value;
      if constexpr (K == J) {
        return nullptr;
      } else {
        return detail::pass<ParamAt<F, K>>(std::get<K>(t));
      }
    };
    uint64_t o = 0;
    if constexpr (std::is_void_v<R>) {
      fn(arg(std::integral_constant<size_t, I>{})...);
    } else {
      R r = fn(arg(std::integral_constant<size_t, I>{})...);
      o = detail::outcome(r);
      if constexpr (std::is_pointer_v<R>) {
        if (r) detail::release_returned(r);
      }
    }
    return o;  // outputs are looked at by the caller, then settled
  }

  template <class R, class F, class Tup, size_t... I>
  void run_hollow(F fn, const Args &rule, Tup &base, std::index_sequence<I...> seq) {
    int k = 0;
    auto one = [&](auto ic) {
      constexpr size_t J = decltype(ic)::value;
      using A = std::tuple_element_t<J, Tup>;
      if constexpr (detail::Arg<A>::is_record) {
        const char e = expect_at(rule.hollow, k++);
        if (e == 't' || !std::get<J>(base)) return;
        detail::Copies c;
        Tup t = copied(base, c, -1, (int)J, -1, seq);
        uint64_t got = invoke<R>(fn, t, seq);
        check_code<R>(e, got, "with the storage of record argument " + std::to_string(J + 1) + " NULL");
        EXPECT_TRUE(c.canaries_intact()) << name_ << " wrote outside a buffer, record " << J + 1 << " hollow";
        if (e != 'o' && got != VORN_OK) {
          EXPECT_TRUE(c.unchanged()) << name_ << " wrote before failing on record argument " << J + 1 << " hollow";
        }
      }
    };
    (one(std::integral_constant<size_t, I>{}), ...);
    (void)one;
  }

  template <class R, bool shift, class F, class Tup, size_t... I>
  void run_spoiled(F fn, Tup &base, const char *what, std::index_sequence<I...> seq) {
    auto one = [&](auto ic) {
      constexpr size_t J = decltype(ic)::value;
      using A = std::tuple_element_t<J, Tup>;
      constexpr bool eligible = shift ? detail::Arg<A>::is_colour : detail::Arg<A>::is_record;
      if constexpr (eligible) {
        if (!std::get<J>(base)) return;
        detail::Copies c;
        Tup t = shift ? copied(base, c, -1, -1, (int)J, seq) : copied(base, c, (int)J, -1, -1, seq);
        uint64_t got = invoke<R>(fn, t, seq);
        if constexpr (!std::is_void_v<R>) {
          EXPECT_NE(got, (uint64_t)VORN_OK) << name_ << " accepted record argument " << J + 1 << " in " << what;
        }
        EXPECT_TRUE(c.canaries_intact()) << name_ << " wrote outside a buffer, record " << J + 1 << " in " << what;
        EXPECT_TRUE(c.unchanged()) << name_ << " wrote before refusing record argument " << J + 1 << " in " << what;
      }
    };
    (one(std::integral_constant<size_t, I>{}), ...);
    (void)one;
  }

  template <class R, class F, class Tup, size_t... I>
  void run_extremes(F fn, Tup &base, std::index_sequence<I...> seq) {
    auto one = [&](auto ic) {
      constexpr size_t J = decltype(ic)::value;
      using P = ParamAt<F, J>;
      using A = std::tuple_element_t<J, Tup>;
      if constexpr (std::is_pointer_v<P> && std::is_same_v<std::remove_cv_t<std::remove_pointer_t<P>>, vorn_rect> &&
                    std::is_pointer_v<A>) {
        if (!std::get<J>(base)) return;
        for (vorn_rect v : detail::extremes<vorn_rect>()) {
          detail::Copies c;
          Tup t = copied(base, c, -1, -1, -1, seq);
          vorn_rect r = v;
          std::get<J>(t) = &r;
          invoke<R>(fn, t, seq);
          EXPECT_TRUE(c.canaries_intact()) << name_ << " wrote outside a buffer, argument " << J + 1 << " extreme";
        }
      } else if constexpr ((std::is_arithmetic_v<P> && std::is_arithmetic_v<A>) || std::is_same_v<A, P>) {
        for (P v : detail::extremes<P>()) {
          detail::Copies c;
          Tup t = copied(base, c, -1, -1, -1, seq);
          std::get<J>(t) = (A)v;
          invoke<R>(fn, t, seq);
          EXPECT_TRUE(c.canaries_intact()) << name_ << " wrote outside a buffer, argument " << J + 1 << " extreme";
        }
      }
    };
    (one(std::integral_constant<size_t, I>{}), ...);
    (void)one;
  }

  std::string name_;
  int calls_ = 0;
};

}  // namespace vorn_probe

#endif
