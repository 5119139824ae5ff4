/** Stops at the same place many times, with other threads that own and want monitors, and tells its heap now and then. */
class Durability {
    static final Object held = new Object();
    static volatile boolean holding;

    int number;
    final String text = "text";

    /** The breakpoint. */
    void stop(int turn, long wide) {
        number = turn + 1;
    }

    void turn(int turn) {
        stop(turn, (long) turn << 32);
    }

    static void hold() {
        synchronized (held) {
            holding = true;
            sleep();
        }
    }

    static void want() {
        synchronized (held) {
            sleep();
        }
    }

    static void sleep() {
        try {
            Thread.sleep(3_600_000);
        } catch (InterruptedException end) {
            Thread.currentThread().interrupt();
        }
    }

    static Thread start(String name, Runnable body) {
        Thread thread = new Thread(body, name);
        thread.setDaemon(true);
        thread.start();
        return thread;
    }

    static void tellHeap(String when) {
        System.gc();
        System.gc();
        Runtime runtime = Runtime.getRuntime();
        System.out.println("heap " + when + " " + (runtime.totalMemory() - runtime.freeMemory()));
    }

    public static void main(String[] arguments) throws InterruptedException {
        System.load(arguments[0]);
        int warm = Integer.parseInt(arguments[1]);
        int all = Integer.parseInt(arguments[2]);
        start("holding", Durability::hold);
        while (!holding) Thread.sleep(5);
        Thread wanting = start("wanting", Durability::want);
        while (wanting.getState() != Thread.State.BLOCKED) Thread.sleep(5);
        tellHeap("begin"); // so that what telling it needs is there
        Durability subject = new Durability();
        for (int turn = 0; turn < all; turn++) {
            if (turn == warm) tellHeap("warm");
            subject.turn(turn);
        }
        tellHeap("end");
        System.exit(9);
    }
}
