// SPDX-License-Identifier: MIT
// Says which lock guards what, for clang's thread-safety analysis; nothing for other compilers.
#pragma once

#if defined(__clang__)
#  define PROPERTY_THREAD_ANNOTATION(Annotation) __attribute__((Annotation))
#else
#  define PROPERTY_THREAD_ANNOTATION(Annotation)
#endif

/// A class whose objects are locks, and one whose objects hold a lock while they live.
#define PROPERTY_LOCK(Kind) PROPERTY_THREAD_ANNOTATION(capability(Kind))
#define PROPERTY_SCOPED_LOCK PROPERTY_THREAD_ANNOTATION(scoped_lockable)

/// A variable, or what a pointer points to, that is used with the lock held only.
#define PROPERTY_GUARDED_BY(Lock) PROPERTY_THREAD_ANNOTATION(guarded_by(Lock))
#define PROPERTY_POINTEE_GUARDED_BY(Lock) PROPERTY_THREAD_ANNOTATION(pt_guarded_by(Lock))

/// A function that is called with the lock held; with the lock not held by the caller.
#define PROPERTY_REQUIRES(...) PROPERTY_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define PROPERTY_EXCLUDES(...) PROPERTY_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

/// A function that takes a lock, may take it, or leaves it; without an argument its own object.
#define PROPERTY_ACQUIRES(...) PROPERTY_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define PROPERTY_MAY_ACQUIRE(...) PROPERTY_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define PROPERTY_RELEASES(...) PROPERTY_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

/// A function that is known to run with the lock held, where the analysis can not see it.
#define PROPERTY_ASSERTS_HELD(...) PROPERTY_THREAD_ANNOTATION(assert_capability(__VA_ARGS__))

/// A function whose locking the analysis can not follow: it takes a lock in one call and leaves it
/// in another, or calls a function of its caller's, who holds what that needs.
#define PROPERTY_UNCHECKED_LOCKING PROPERTY_THREAD_ANNOTATION(no_thread_safety_analysis)
