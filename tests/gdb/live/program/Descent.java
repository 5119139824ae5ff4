/** A way down through a constructor, a lock, recursion, an exception's handler, native code and a lambda, as often as wanted. */
class Descent {
    static final int QUIET = 0;

    interface Step {
        int take(int depth);
    }

    static class Expected extends RuntimeException {
        Expected() {
            super(null, null, false, false);
        }
    }

    final int result;

    Descent(int depth, int end) {
        result = locked(depth, end);
    }

    static native void register();

    static native int through(Step step, int depth);

    static native int registered(Step step, int depth);

    static native int bottom(int end);

    static native void sleep();

    static int nest(int depth, int end) {
        if (depth == 0) {
            return last(end);
        }
        return new Descent(depth, end).result;
    }

    static int last(int end) {
        return bottom(end) + 1;
    }

    synchronized int locked(int depth, int end) {
        return again(3, depth, end);
    }

    static int again(int times, int depth, int end) {
        if (times > 0) {
            return again(times - 1, depth, end) + times;
        }
        try {
            throw new Expected();
        } catch (Expected expected) {
            return handler(depth, end);
        }
    }

    static int handler(int depth, int end) {
        Step step = d -> nest(d - 1, end);
        if ((depth & 1) == 0) {
            return through(step, depth);
        }
        return registered(step, depth);
    }
}
