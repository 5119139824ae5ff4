/** Threads that come to a breakpoint again and again, and tell what was thrown into them there. */
class InvocationStorm {
    static volatile int thrown;
    static volatile int passed;

    static int number() {
        return 42;
    }

    static void reached() {
    }

    static synchronized void count(boolean unharmed) {
        if (unharmed) passed++;
        else thrown++;
    }

    static void live(int rounds) {
        for (int i = 0; i < rounds; i++) {
            boolean unharmed = false;
            try {
                reached();
                unharmed = true;
            } catch (Throwable struck) {
                System.out.println(struck);
            }
            count(unharmed);
        }
    }

    public static void main(String[] arguments) throws InterruptedException {
        Thread[] threads = new Thread[Integer.parseInt(arguments[0])];
        int rounds = Integer.parseInt(arguments[1]);
        for (int i = 0; i < threads.length; i++) threads[i] = new Thread(() -> live(rounds));
        for (Thread thread : threads) thread.start();
        for (Thread thread : threads) thread.join();
        System.out.println("passed " + passed + ", thrown " + thrown);
        System.exit(5);
    }
}
