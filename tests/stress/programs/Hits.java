import java.util.concurrent.atomic.AtomicLong;

/** Threads that run into a breakpoint over and over, and a method for the debugger to call meanwhile. */
class Hits {
    static final AtomicLong hits = new AtomicLong();
    static final AtomicLong invoked = new AtomicLong();

    static void reached(int turn, long wide, Object object) {
        hits.incrementAndGet();
    }

    /** For the debugger. */
    static int twice(int value) {
        invoked.incrementAndGet();
        return 2 * value;
    }

    static void turns(int times) {
        for (int turn = 0; turn < times; turn++) {
            try {
                reached(turn, (long) turn << 32, "turn");
            } catch (Throwable what) {
                Stress.surprise(what);
            }
        }
    }

    public static void main(String[] arguments) {
        int times = Stress.number(arguments, 1);
        Stress.ready();
        Stress.join(Stress.start(Stress.number(arguments, 0), "hits", () -> turns(times)));
        Stress.figure("hits", hits.get());
        Stress.figure("invoked", invoked.get());
        System.exit(7);
    }
}
