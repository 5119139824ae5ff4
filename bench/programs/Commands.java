/** A program to try a debugger's commands on: twelve frames, threads that wait, classes that come one after the other. */
class Commands {
    static class Item {
        int amount = 3;

        @Override
        public String toString() {
            return "item of " + amount;
        }
    }

    static int sink;

    static void stand(Item item, int turn) {
        sink += item.amount;
        sink += turn;
        leave(item);
        sink++;
    }

    static void leave(Item item) {
        sink += item.amount;
    }

    static void descend(Item item, int depth) {
        int more = depth + 1;
        if (depth < 11) descend(item, more);
        else if (depth == 11) stand(item, depth);
        sink += more;
    }

    public static void main(String[] arguments) throws Exception {
        Stops.startWaiting(20);
        Bench.attach("outside", "");
        Many many = new Many();
        int classes = Integer.parseInt(arguments[0]);
        long begin = System.nanoTime();
        for (int i = 0; i < classes; i++) many.make();
        Bench.figure("prepare", (System.nanoTime() - begin) / classes / 1000);
        descend(new Item(), 1);
    }
}
