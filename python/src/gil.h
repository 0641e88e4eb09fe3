// Python's lock, given up and taken again.
#pragma once

#include <pybind11/pybind11.h>
#include <unistd.h>

#include <cxxabi.h>

namespace velajpeg_python {

/// Other Python threads run from here to the end of the scope.
class OthersRun {
public:
    OthersRun() : state_(PyEval_SaveThread()) {}
    OthersRun(const OthersRun&) = delete;
    OthersRun& operator=(const OthersRun&) = delete;
    ~OthersRun() { takeBack(); }

    /// Within it, this thread's turn for a while.
    class Pause {
    public:
        explicit Pause(OthersRun& others) : others_(others) { others_.takeBack(); }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
        ~Pause() { others_.state_ = PyEval_SaveThread(); }

    private:
        OthersRun& others_;
    };

    /// function(argument), a new reference, or null where it raised. Daemon threads may end within it, so no
    /// object of C++ may stand between it and what catches that.
    static PyObject* call(PyObject* function, PyObject* argument) {
        try {
            return PyObject_CallOneArg(function, argument);
        } catch (const abi::__forced_unwind&) {
            sleepForGood();
        }
    }

private:
    /// For daemon threads, which Python before 3.14 ends by pthread_exit where they come back after the
    /// interpreter's end: nothing of theirs may be destroyed without the GIL, so they sleep as in 3.14.
    [[noreturn]] static void sleepForGood() {
        for (;;)
            ::pause();
    }

    void takeBack() {
        try {
            PyEval_RestoreThread(state_);
        } catch (const abi::__forced_unwind&) {
            sleepForGood();
        }
    }

    PyThreadState* state_;
};

} // namespace velajpeg_python
