// What several of the parts that are fetched later need. Each of them names this file, so that all of it comes in one piece with the first
// screen instead of in one for every set of pages that share something.

import "./basics";
import "./Banner";
import "./EventList";
import "./NewAlarms";
import "./ProblemList";
import "./escape";
import "./sheet";
import "./windowed";
import "../data/lines";
import "../data/trend";
import "../pages/Overview";
import "../situation";
