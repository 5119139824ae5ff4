class Breakpoints {
    static volatile int counter;

    static int reached(String where, int times) {
        return where.length() * times;
    }

    static void count() {
        for (;;) {
            counter++;
            Thread.onSpinWait();
        }
    }

    public static void main(String[] arguments) throws InterruptedException {
        Thread counting = new Thread(Breakpoints::count, "counting");
        counting.setDaemon(true);
        counting.start();
        while (counter == 0) Thread.onSpinWait();
        int sum = reached("main", 3);
        int seen = counter;
        while (counter == seen) Thread.onSpinWait(); // the stop is over for the counting thread too
        Thread worker = new Thread(() -> reached("worker", 5), "worker");
        worker.start();
        worker.join();
        System.out.println("sum " + sum);
        System.exit(7);
    }
}
