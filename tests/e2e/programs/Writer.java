/** A thread fills an array over and over, and counts the stores that it finds undone; the other one calls a method meanwhile. */
class Writer {
    static final int[] array = new int[200_000];
    static volatile boolean ended;
    static volatile int lost, rounds;

    static void called() {
    }

    static void begin() {
    }

    static void write() {
        while (!ended) {
            int round = rounds + 1;
            for (int i = 0; i < array.length; i++) array[i] = round;
            for (int value : array)
                if (value != round) lost++;
            rounds = round;
        }
    }

    public static void main(String[] arguments) throws InterruptedException {
        Thread writer = new Thread(Writer::write, "writer");
        writer.start();
        while (rounds < 10) Thread.onSpinWait();
        begin();
        called();
        ended = true;
        writer.join();
        System.out.println("lost " + lost);
        System.exit(3);
    }
}
