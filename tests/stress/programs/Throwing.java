import java.util.concurrent.atomic.AtomicLong;

/** Ten threads that throw exceptions of three kinds all the time. */
class Throwing {
    static class First extends RuntimeException {
    }

    static class Second extends RuntimeException {
    }

    static class Never extends RuntimeException {
    }

    static volatile boolean stop;
    static final AtomicLong thrown = new AtomicLong();

    static void raise(int turn) {
        thrown.incrementAndGet();
        if (turn % 2 == 0) throw new First();
        throw new Second();
    }

    static void turns() {
        for (int turn = 0; !stop; turn++) {
            try {
                raise(turn);
            } catch (First | Second expected) {
                // as asked
            }
        }
    }

    public static void main(String[] arguments) {
        new Never(); // so that it is loaded
        new First();
        new Second();
        Stress.ready();
        Thread[] throwers = Stress.start(10, "throws", Throwing::turns);
        System.out.println("working");
        Stress.await();
        stop = true;
        Stress.join(throwers);
        System.gc();
        Stress.figure("thrown", thrown.get());
        Stress.figure("heap", (Runtime.getRuntime().totalMemory() - Runtime.getRuntime().freeMemory()) / 1024);
        System.exit(7);
    }
}
