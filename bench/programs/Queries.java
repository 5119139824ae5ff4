/**
 * Has the agent asked about many threads and objects at a breakpoint.
 *
 * <p>Arguments: the library; threads; objects; how many questions of each kind.
 */
class Queries {
    static class Item {
        int number = 1;
        String text = "text";
    }

    static void reach(int turn) {}

    public static void main(String[] arguments) throws Exception {
        System.load(arguments[0]);
        Item[] items = new Item[Integer.parseInt(arguments[2])];
        for (int i = 0; i < items.length; i++) items[i] = new Item();
        Agent.attach();
        Stops.startWaiting(Integer.parseInt(arguments[1]));
        Agent.setBreakpoint(Queries.class, "reach");
        Agent.askAtNextStop(items, Integer.parseInt(arguments[3]));
        reach(0);
        Agent.printAnswers();
    }
}
