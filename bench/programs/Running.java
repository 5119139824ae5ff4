import java.lang.reflect.Method;
import java.util.concurrent.CountDownLatch;

/**
 * Work of usual kinds, with nothing that a debugger would want to see: tells the microseconds of the best of some turns of each: what
 * else goes on in the machine only adds to them.
 *
 * <p>Arguments: "loaded", or who attaches first ("inside" with the library, "outside"); the library; turns.
 */
class Running {
    interface Work {
        void run() throws Exception;
    }

    static long sink;

    static void compute() {
        long state = sink | 1;
        for (int i = 0; i < 20_000_000; i++) {
            state ^= state << 13;
            state ^= state >>> 7;
            state ^= state << 17;
        }
        sink += state;
    }

    static void allocate() {
        for (int i = 0; i < 1_000_000; i++) {
            int[] made = new int[16];
            made[i & 15] = i;
            sink += made.hashCode() & 1;
        }
    }

    static void descend(int depth) {
        if (depth == 0) throw new IllegalStateException();
        descend(depth - 1);
    }

    static void throwThroughFrames() {
        for (int i = 0; i < 5_000; i++) {
            try {
                descend(4);
            } catch (IllegalStateException expected) {
                sink++;
            }
        }
    }

    static void startThreads() throws InterruptedException {
        for (int i = 0; i < 200; i++) {
            Thread thread = new Thread(() -> sink++);
            thread.start();
            thread.join();
        }
    }

    /** Compiled for versions that have no virtual threads. */
    static final Method startVirtual = find("startVirtualThread");

    static Method find(String name) {
        try {
            return Thread.class.getMethod(name, Runnable.class);
        } catch (NoSuchMethodException old) {
            return null;
        }
    }

    static void startVirtualThreads() throws Exception {
        CountDownLatch ended = new CountDownLatch(10_000);
        Runnable body = ended::countDown;
        for (int i = 0; i < 10_000; i++) startVirtual.invoke(null, body);
        ended.await();
    }

    static void measure(String name, int turns, Work work) throws Exception {
        work.run(); // compiled from here on
        work.run();
        long best = Long.MAX_VALUE;
        for (int i = 0; i < turns; i++) {
            long begin = System.nanoTime();
            work.run();
            best = Math.min(best, System.nanoTime() - begin);
        }
        Bench.figure(name, best / 1000);
    }

    public static void main(String[] arguments) throws Exception {
        int turns = Integer.parseInt(arguments[2]);
        Bench.attach(arguments[0], arguments[1]);
        measure("compute", turns, Running::compute);
        measure("allocation", turns, Running::allocate);
        measure("exceptions", turns, Running::throwThroughFrames);
        measure("threads", turns, Running::startThreads);
        if (startVirtual != null) measure("virtual", turns, Running::startVirtualThreads);
    }
}
